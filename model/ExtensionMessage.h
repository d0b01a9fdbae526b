#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/ExtensionAddress.h"
#include "platform/Export.h"
#include "platform/NSDate.h"
#include "platform/NSImage.h"
#include "platform/NSObject.h"
#include "platform/NSURL.h"
#include "platform/Property.h"
#include "platform/Value.h"

namespace korvane {

/// The one record that carries a message between the share extension and the mail client.
///
/// Every field may be absent, which is not the same as empty. Accessors are indivisible for their
/// own field and may be called from any thread; a sequence of them is not indivisible. Several
/// threads that append to `attachments` hold the record's lock, see synchronized().
class KORVANE_EXPORT ExtensionMessage : public NSObject {
 public:
  /// Recipients of one kind; a null one counts as none. The getters of lists give copies, whose
  /// elements are the message's own; what is added to a copy is not added to the message.
  using Addresses = std::vector<std::shared_ptr<ExtensionAddress>>;

  /// `htmlBody` and `plainBody` empty; `to`, `cc`, `bcc` and `attachments` empty lists; every other
  /// field absent.
  ExtensionMessage();

  /// Reads the mail client's message dictionary; see initWithDictonary.
  explicit ExtensionMessage(const Value& dictionary);

  /// The message that a command URL carries: subject, from, account, the bodies and the recipient
  /// texts by the names of queryUrl(), and every "attachment_…" in the order of the query. Never
  /// fails: what is not known is ignored, and a URL whose query cannot be located or decoded gives
  /// the fields of ExtensionMessage().
  static std::shared_ptr<ExtensionMessage> ExtensionMessageWithUrl(const NSURL& url);

  // Texts that a dictionary may give in any kind are Values; the others are UTF-8 texts.
  Value subject() const { return subject_.get(); }
  void setSubject(Value subject) { subject_.set(std::move(subject)); }
  Value account() const { return account_.get(); }
  void setAccount(Value account) { account_.set(std::move(account)); }
  Value from() const { return from_.get(); }
  void setFrom(Value from) { from_.set(std::move(from)); }
  Value messageId() const { return messageId_.get(); }
  void setMessageId(Value messageId) { messageId_.set(std::move(messageId)); }
  Value folderPath() const { return folderPath_.get(); }
  void setFolderPath(Value folderPath) { folderPath_.set(std::move(folderPath)); }
  /// Display text of `date`.
  std::optional<std::string> dateString() const { return dateString_.get(); }
  void setDateString(std::optional<std::string> text) { dateString_.set(std::move(text)); }
  std::optional<std::string> plainBody() const { return plainBody_.get(); }
  void setPlainBody(std::optional<std::string> body) { plainBody_.set(std::move(body)); }
  std::optional<std::string> htmlBody() const { return htmlBody_.get(); }
  void setHtmlBody(std::optional<std::string> body) { htmlBody_.set(std::move(body)); }
  std::optional<NSDate> date() const { return date_.get(); }
  void setDate(std::optional<NSDate> date) { date_.set(date); }
  /// The sender's picture.
  std::optional<NSImage> image() const { return image_.get(); }
  void setImage(std::optional<NSImage> image) { image_.set(std::move(image)); }
  /// 0 or non-zero.
  Value unread() const { return unread_.get(); }
  void setUnread(Value unread) { unread_.set(std::move(unread)); }
  /// The client's code of the message's folder.
  Value folderStandardId() const { return folderStandardId_.get(); }
  void setFolderStandardId(Value id) { folderStandardId_.set(std::move(id)); }
  std::optional<Addresses> to() const { return to_.get(); }
  void setTo(std::optional<Addresses> to) { to_.set(std::move(to)); }
  std::optional<Addresses> cc() const { return cc_.get(); }
  void setCc(std::optional<Addresses> cc) { cc_.set(std::move(cc)); }
  std::optional<Addresses> bcc() const { return bcc_.get(); }
  void setBcc(std::optional<Addresses> bcc) { bcc_.set(std::move(bcc)); }
  // Recipients as texts, as a command URL carries them: every address followed by ";".
  std::optional<std::string> toString() const { return toString_.get(); }
  void setToString(std::optional<std::string> text) { toString_.set(std::move(text)); }
  std::optional<std::string> ccString() const { return ccString_.get(); }
  void setCcString(std::optional<std::string> text) { ccString_.set(std::move(text)); }
  std::optional<std::string> bccString() const { return bccString_.get(); }
  void setBccString(std::optional<std::string> text) { bccString_.set(std::move(text)); }
  /// Each element a text (a file path) or a URL (a file URL). A copy: addAttachments adds to it.
  std::optional<List> attachments() const { return attachments_.get(); }
  void setAttachments(std::optional<List> attachments) { attachments_.set(std::move(attachments)); }

  /// Appends to `htmlBody` indivisibly; an absent body counts as empty.
  void appendToHtmlBody(std::string_view html);
  /// Appends to `attachments` while holding the record's lock; an absent list counts as empty.
  void addAttachments(const List& attachments);
  /// Holds the record's own lock, a recursive one, as long as the result lives.
  [[nodiscard]] std::unique_lock<std::recursive_mutex> synchronized() const {
    return std::unique_lock(mutex_);
  }

  /// Reads the keys "subject", "messageId", "from", "account", "folder", "folderStid", "isUnread",
  /// "date" (seconds since 1970) and "avatar" (base64 of an image) into the fields, in this order.
  /// The first seven are stored as they stand; missing ones get their defaults: "No subject" in the
  /// user's language, "" for the texts and 0 for the numbers. "date", 0 where it is missing, has
  /// single precision: a present-day time is a multiple of 128 seconds; `dateString` is its
  /// ExtensionDate::centralDate. An "avatar" that is not an image leaves `image` absent. Bodies,
  /// lists and attachments are not read. An absent dictionary reads as an empty one. What is not
  /// a dictionary, a "date" that does not convert to a number (a list, say) and an "avatar" that is
  /// not a text end the reading with the log line "ExtensionMessage initWithDictonary …" and leave
  /// the fields from there on as they are. Never throws NSException.
  void initWithDictonary(const Value& dictionary);

  /// The command URL `korvane://COMMAND?QUERY` that opens the mail client with this message. The
  /// query carries, in this order and each only where it is not empty: plainBody, htmlBody,
  /// subject, from, account, bcc, cc, to (every mail followed by ";") and attachment_0,
  /// attachment_1, … by their places in the list: the texts as they stand, the paths of URLs, empty
  /// where a URL has none. What is neither leaves a gap. Texts are UTF-8, percent-encoded (RFC
  /// 3986). Nothing when COMMAND makes the text no valid URL. Raises NSException when subject, from
  /// or account holds something that is not a text.
  std::optional<NSURL> queryUrl(std::string_view command) const;

  /// The links of a plain text, normalised ("www.a.example" gives "http://www.a.example"), in
  /// order, each as often as it stands there. Uses no field.
  std::vector<std::string> searchUrlsDetector(std::string_view text) const;

  /// The body as HTML, which is also stored: the HTML body with an image element for each
  /// attachment, or the plain body with "<br>" for line feeds and anchors around its links. Nothing
  /// is escaped; calling it twice adds images and anchors twice.
  std::string renderHtml();

  /// "ExtensionMessage " and the subject.
  std::string description() const override;

  /// The same record, or one with the same `messageId` and `account`, compared as the values they
  /// are. Absent ones equal nothing.
  bool isEqualToModel(const ExtensionMessage& other) const;
  /// The same with any object; nothing but a message equals one.
  bool isEqual(const NSObject* other) const override;
  using NSObject::isEqual;

 private:
  Property<Value> subject_;
  Property<Value> account_;
  Property<Value> from_;
  Property<Value> messageId_;
  Property<Value> folderPath_;
  Property<std::optional<std::string>> dateString_;
  Property<std::optional<std::string>> plainBody_;
  Property<std::optional<std::string>> htmlBody_;
  Property<std::optional<NSDate>> date_;
  Property<std::optional<NSImage>> image_;
  Property<Value> unread_;
  Property<Value> folderStandardId_;
  Property<std::optional<Addresses>> to_;
  Property<std::optional<Addresses>> cc_;
  Property<std::optional<Addresses>> bcc_;
  Property<std::optional<std::string>> toString_;
  Property<std::optional<std::string>> ccString_;
  Property<std::optional<std::string>> bccString_;
  Property<std::optional<List>> attachments_;
  mutable std::recursive_mutex mutex_;
};

}  // namespace korvane
