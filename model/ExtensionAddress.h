#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/Export.h"
#include "platform/NSObject.h"
#include "platform/Property.h"
#include "platform/Value.h"

namespace korvane {

/// One contact of the mail client's address book, and the element of a message's recipient lists.
///
/// A text field holds what the property list had under the field's name, whatever its kind; it is
/// absent only where nothing set it. Each accessor is indivisible and may be called from any
/// thread.
class KORVANE_EXPORT ExtensionAddress : public NSObject {
 public:
  /// A contact with every field absent and rank 0.
  ExtensionAddress() = default;

  /// Reads a contact from an element of a property list. Never fails: a missing key gets its
  /// default ("No Mail", not translated, for "mail"; "" for the names; 0 for "rank"), and a value
  /// that cannot be read ends the reading with the log line "ExtensionAddress initWithDictonary …"
  /// and leaves the fields from there on unset.
  explicit ExtensionAddress(const Value& dictionary) : ExtensionAddress(Value(dictionary)) {}
  /// The same; takes the texts out of the dictionary where no copy shares it.
  explicit ExtensionAddress(Value&& dictionary);

  /// The reading itself, on a contact whose fields are unset.
  void initWithDictonary(const Value& dictionary);

  Value mail() const { return mail_.get(); }
  void setMail(Value mail) { mail_.set(std::move(mail)); }
  Value firstName() const { return firstName_.get(); }
  void setFirstName(Value firstName) { firstName_.set(std::move(firstName)); }
  Value lastName() const { return lastName_.get(); }
  void setLastName(Value lastName) { lastName_.set(std::move(lastName)); }
  Value company() const { return company_.get(); }
  void setCompany(Value company) { company_.set(std::move(company)); }
  Value nickname() const { return nickname_.get(); }
  void setNickname(Value nickname) { nickname_.set(std::move(nickname)); }
  std::int64_t rank() const { return rank_.get(); }
  void setRank(std::int64_t rank) { rank_.set(rank); }

  /// "ExtensionAddress " and the mail.
  std::string description() const override;
  /// First and last name with a space between, without white space at the ends; an unset name
  /// shows as "(null)".
  std::string fullName() const;
  /// The display line: the full name, else the company, then the mail in angle brackets; what is
  /// unset or empty is left out, what is not a text shows its text form.
  std::string prettyprint() const;

 private:
  template <class Source, class Store>
  void read(Source& dictionary, Store store);

  Property<Value> mail_;
  Property<Value> firstName_;
  Property<Value> lastName_;
  Property<Value> company_;
  Property<Value> nickname_;
  Property<std::int64_t> rank_;
};

}  // namespace korvane
