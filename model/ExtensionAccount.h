#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "model/ExtensionAlias.h"
#include "platform/Export.h"
#include "platform/NSObject.h"
#include "platform/Property.h"
#include "platform/Value.h"

namespace korvane {

/// One mail account of the mail client.
///
/// A text field holds what the property list had under the field's name, whatever its kind; it is
/// absent only where nothing set it. Each accessor is indivisible and may be called from any
/// thread.
class KORVANE_EXPORT ExtensionAccount : public NSObject {
 public:
  /// The account's sender identities; none is null.
  using Aliases = std::vector<std::shared_ptr<ExtensionAlias>>;

  /// An account with texts and aliases absent, type 0, not enabled.
  ExtensionAccount() = default;

  /// Reads an account from an element of a property list. Never fails: a missing key gets its
  /// default ("No Mail" in the user's language for "mail", "" for "name", 0 for "type", false for
  /// "enabled", none for "aliases"), and a value that cannot be read ends the reading with the log
  /// line "ExtensionAccount initWithDictonary …" and leaves the fields from there on as they are:
  /// `aliases` is absent after a "type" or "enabled" that does not convert, and empty after an
  /// "aliases" that is not a list.
  explicit ExtensionAccount(const Value& dictionary) { initWithDictonary(dictionary); }

  /// The reading itself, on an account whose fields are unset.
  void initWithDictonary(const Value& dictionary);

  Value mail() const { return mail_.get(); }
  void setMail(Value mail) { mail_.set(std::move(mail)); }
  Value name() const { return name_.get(); }
  void setName(Value name) { name_.set(std::move(name)); }
  /// A copy of the list, in the order of the file; its elements are the account's own.
  std::optional<Aliases> aliases() const { return aliases_.get(); }
  void setAliases(std::optional<Aliases> aliases) { aliases_.set(std::move(aliases)); }
  /// The kind of account, as the mail client numbers them.
  std::int64_t type() const { return type_.get(); }
  void setType(std::int64_t type) { type_.set(type); }
  bool enabled() const { return enabled_.get(); }
  void setEnabled(bool enabled) { enabled_.set(enabled); }

  /// "ExtensionAccount " and the mail.
  std::string description() const override;

 private:
  Property<Value> mail_;
  Property<Value> name_;
  Property<std::optional<Aliases>> aliases_;
  Property<std::int64_t> type_;
  Property<bool> enabled_;
};

}  // namespace korvane
