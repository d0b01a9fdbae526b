#include "model/ExtensionMessage.h"

#include "model/ExtensionDate.h"
#include "model/detail/RecordReading.h"
#include "platform/NSData.h"
#include "platform/NSException.h"
#include "platform/NSFormat.h"
#include "platform/NSLog.h"

namespace korvane {
namespace {

Value noSubject() { return localizedText("No subject"); }
Value zero() { return 0; }

// Where this record's own value is absent, nothing equals it.
bool equalTexts(const Value& own, const Value& other) { return !own.isAbsent() && own == other; }

}  // namespace

ExtensionMessage::ExtensionMessage()
    : plainBody_(""),
      htmlBody_(""),
      to_(Addresses()),
      cc_(Addresses()),
      bcc_(Addresses()),
      attachments_(List()) {}

ExtensionMessage::ExtensionMessage(const Value& dictionary) { initWithDictonary(dictionary); }

void ExtensionMessage::initWithDictonary(const Value& dictionary) {
  try {
    subject_.set(valueForKey(dictionary, "subject", noSubject));
    messageId_.set(valueForKey(dictionary, "messageId", emptyText));
    from_.set(valueForKey(dictionary, "from", emptyText));
    account_.set(valueForKey(dictionary, "account", emptyText));
    folderPath_.set(valueForKey(dictionary, "folder", emptyText));
    folderStandardId_.set(valueForKey(dictionary, "folderStid", zero));
    unread_.set(valueForKey(dictionary, "isUnread", zero));
    // Single precision, as the client's messages have always been read: a present-day time becomes
    // a multiple of 128 seconds. No date at all is the epoch.
    const float seconds =
        raisingFor("date", [&] { return dictionary.objectForKey("date").floatValue(); });
    const NSDate date = NSDate::dateWithTimeIntervalSince1970(double{seconds});
    date_.set(date);
    dateString_.set(ExtensionDate::shared().centralDate(date));

    const Value avatar = dictionary.objectForKey("avatar");
    if (!avatar.isAbsent()) {
      const auto text = raisingFor("avatar", [&] { return avatar.text(); });
      const auto data = dataWithBase64EncodedString(text);
      if (data) image_.set(NSImage::initWithData(*data));
    }
  } catch (const NSException& exception) {
    NSLog("ExtensionMessage initWithDictonary %@", exception);
  }
}

void ExtensionMessage::appendToHtmlBody(std::string_view html) {
  htmlBody_.update([&](std::optional<std::string>& body) {
    if (!body) body.emplace();
    body->append(html);
  });
}

void ExtensionMessage::addAttachments(const List& attachments) {
  const auto lock = synchronized();
  attachments_.update([&](std::optional<List>& list) {
    if (!list) list.emplace();
    list->insert(list->end(), attachments.begin(), attachments.end());
  });
}

std::string ExtensionMessage::description() const {
  return stringWithFormat("ExtensionMessage %@", subject());
}

bool ExtensionMessage::isEqualToModel(const ExtensionMessage& other) const {
  if (this == &other) return true;
  return equalTexts(messageId(), other.messageId()) && equalTexts(account(), other.account());
}

bool ExtensionMessage::isEqual(const NSObject* other) const {
  const auto* message = dynamic_cast<const ExtensionMessage*>(other);
  return message && isEqualToModel(*message);
}

}  // namespace korvane
