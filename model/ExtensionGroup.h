#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "model/ExtensionAddress.h"
#include "platform/Export.h"
#include "platform/NSObject.h"
#include "platform/Property.h"
#include "platform/Value.h"

namespace korvane {

/// One contact group of the mail client's address book.
///
/// A text field holds what the property list had under the field's name, whatever its kind; it is
/// absent only where nothing set it. Each accessor is indivisible and may be called from any
/// thread.
class KORVANE_EXPORT ExtensionGroup : public NSObject {
 public:
  /// The members; none is null.
  using Addresses = std::vector<std::shared_ptr<ExtensionAddress>>;

  /// A group with every field absent.
  ExtensionGroup() = default;

  /// Reads a group from an element of a property list. Never fails: a missing key gets its default
  /// ("" for "idx", "No Name" in the user's language for "name", no members for "addresses"), a
  /// member that is not a dictionary becomes a contact with every field absent, and a value that
  /// cannot be read ends the reading with the log line "ExtensionGroup initWithDictonary …" and
  /// leaves the fields from there on as they are.
  explicit ExtensionGroup(const Value& dictionary) { initWithDictonary(dictionary); }
  /// The same; takes the texts and members out of the dictionary where no copy shares it.
  explicit ExtensionGroup(Value&& dictionary);

  /// The reading itself, on a group whose fields are unset.
  void initWithDictonary(const Value& dictionary);

  /// The group's identifier in the mail client.
  Value idx() const { return idx_.get(); }
  void setIdx(Value idx) { idx_.set(std::move(idx)); }
  Value name() const { return name_.get(); }
  void setName(Value name) { name_.set(std::move(name)); }
  /// A copy of the list of members, in the order of the file; its elements are the group's own.
  std::optional<Addresses> addresses() const { return addresses_.get(); }
  void setAddresses(std::optional<Addresses> addresses) { addresses_.set(std::move(addresses)); }

  /// "ExtensionGroup " and the name.
  std::string description() const override;
  /// The display line: the name and, where there are members, their number in parentheses.
  std::string prettyprint() const;

 private:
  template <class Source>
  void read(Source& dictionary);

  Property<Value> idx_;
  Property<Value> name_;
  Property<std::optional<Addresses>> addresses_;
};

}  // namespace korvane
