#include "model/ExtensionAddress.h"

#include "model/detail/RecordReading.h"
#include "platform/NSException.h"
#include "platform/NSFormat.h"
#include "platform/NSLog.h"
#include "platform/NSString.h"

namespace korvane {
namespace {

// Accounts and aliases show a translation here, contacts never do.
Value noMail() {
  static const Value text("No Mail");
  return text;
}

// A property list may hold a number or a list where a text belongs: that has a text form to show.
bool showsNothing(const Value& field) {
  return field.isAbsent() || (field.isText() && field.length() == 0);
}

}  // namespace

template <class Source, class Store>
void ExtensionAddress::read(Source& dictionary, Store store) {
  try {
    store(mail_, valueForKey(dictionary, "mail", noMail));
    store(firstName_, valueForKey(dictionary, "firstName", emptyText));
    store(lastName_, valueForKey(dictionary, "lastName", emptyText));
    store(company_, valueForKey(dictionary, "company", emptyText));
    store(nickname_, valueForKey(dictionary, "nickname", emptyText));
    const Value rank = dictionary.objectForKey("rank");
    if (!rank.isAbsent()) {
      store(rank_, raisingFor("rank", [&] { return rank.integerValue(); }));
    }
  } catch (const NSException& exception) {
    NSLog("ExtensionAddress initWithDictonary %@", exception);
  }
}

// Locks cost a third of the time in which a large address book is read, and nobody else can know
// this contact yet.
ExtensionAddress::ExtensionAddress(Value&& dictionary) {
  UsedDictionary used(std::move(dictionary));
  read(used, [](auto& field, auto value) { field.initialise(std::move(value)); });
}

void ExtensionAddress::initWithDictonary(const Value& dictionary) {
  read(dictionary, [](auto& field, auto value) { field.set(std::move(value)); });
}

std::string ExtensionAddress::description() const {
  return stringWithFormat("ExtensionAddress %@", mail());
}

std::string ExtensionAddress::fullName() const {
  return stringByTrimmingWhitespaceAndNewlines(stringWithFormat("%@ %@", firstName(), lastName()));
}

std::string ExtensionAddress::prettyprint() const {
  std::string line = fullName();
  if (line.empty() && !showsNothing(company())) line = company().description();
  if (!showsNothing(mail())) line += stringWithFormat(" <%@>", mail());
  return stringByTrimmingWhitespaceAndNewlines(line);
}

}  // namespace korvane
