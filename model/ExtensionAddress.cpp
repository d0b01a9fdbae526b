#include "model/ExtensionAddress.h"

#include "model/RecordReading.h"
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

void ExtensionAddress::initWithDictonary(const Value& dictionary) {
  try {
    mail_.set(valueForKey(dictionary, "mail", noMail));
    firstName_.set(valueForKey(dictionary, "firstName", emptyText));
    lastName_.set(valueForKey(dictionary, "lastName", emptyText));
    company_.set(valueForKey(dictionary, "company", emptyText));
    nickname_.set(valueForKey(dictionary, "nickname", emptyText));
    const Value rank = dictionary.objectForKey("rank");
    if (!rank.isAbsent()) rank_.set(rank.integerValue());
  } catch (const NSException& exception) {
    NSLog("ExtensionAddress initWithDictonary %@", exception);
  }
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
