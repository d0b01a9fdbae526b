#pragma once

#include <string>
#include <utility>

#include "platform/Export.h"
#include "platform/NSObject.h"
#include "platform/Property.h"
#include "platform/Value.h"

namespace korvane {

/// One sender identity of a mail account.
///
/// A field holds what the property list had under its name, whatever its kind; it is absent only
/// where nothing set it. Each accessor is indivisible and may be called from any thread.
class KORVANE_EXPORT ExtensionAlias : public NSObject {
 public:
  /// An alias with every field absent.
  ExtensionAlias() = default;

  /// Reads an alias from an element of an account's "aliases". Never fails: a missing key gets its
  /// default ("No Mail" in the user's language for "mail", "" for "name" and "account"), and what
  /// is not a dictionary leaves every field absent, with the log line "ExtensionAlias
  /// initWithDictonary …".
  explicit ExtensionAlias(const Value& dictionary) { initWithDictonary(dictionary); }

  /// The reading itself, on an alias whose fields are unset.
  void initWithDictonary(const Value& dictionary);

  Value mail() const { return mail_.get(); }
  void setMail(Value mail) { mail_.set(std::move(mail)); }
  Value name() const { return name_.get(); }
  void setName(Value name) { name_.set(std::move(name)); }
  /// The owning account, as the mail client identifies it.
  Value account() const { return account_.get(); }
  void setAccount(Value account) { account_.set(std::move(account)); }

  /// "ExtensionAlias " and the mail.
  std::string description() const override;

 private:
  Property<Value> mail_;
  Property<Value> name_;
  Property<Value> account_;
};

}  // namespace korvane
