// The command URL that opens the mail client with a message.
#include "model/ExtensionMessage.h"
#include "model/detail/MessageKeys.h"
#include "platform/NSException.h"
#include "platform/NSFormat.h"
#include "urlutils/RequestUtils.h"

namespace korvane {
namespace {

/// Every mail followed by ";", the last one too.
std::string recipients(const std::optional<ExtensionMessage::Addresses>& addresses) {
  std::string text;
  if (!addresses) return text;
  for (const auto& address : *addresses) {
    if (address) text += stringWithFormat("%@;", address->mail());
  }
  return text;
}

/// The path of an attachment; absent for an element that is neither path nor URL.
Value attachmentPath(const Value& attachment) {
  if (attachment.isText()) return attachment;
  if (!attachment.isURL()) return {};
  const std::optional<std::string> path = attachment.url().path();
  return path ? Value(*path) : Value("");
}

}  // namespace

std::optional<NSURL> ExtensionMessage::queryUrl(std::string_view command) const {
  Dictionary parameters;
  const auto add = [&](const char* key, const Value& text) {
    if (raisingFor(key, [&] { return text.length(); }) > 0) parameters.set(key, text);
  };
  const auto addBody = [&](const char* key, const Property<std::optional<std::string>>& body) {
    body.read([&](const std::optional<std::string>& text) {
      if (text && !text->empty()) parameters.set(key, *text);
    });
  };
  addBody(MessageKeys::kPlainBody, plainBody_);
  addBody(MessageKeys::kHtmlBody, htmlBody_);
  add(MessageKeys::kSubject, subject());
  add(MessageKeys::kFrom, from());
  add(MessageKeys::kAccount, account());
  add(MessageKeys::kBcc, recipients(bcc()));
  add(MessageKeys::kCc, recipients(cc()));
  add(MessageKeys::kTo, recipients(to()));

  if (const auto list = attachments()) {
    for (std::size_t position = 0; position < list->size(); ++position) {
      const Value path = attachmentPath((*list)[position]);
      // What is not a path takes its number with it: the keys may have gaps.
      if (!path.isAbsent()) {
        parameters.set(stringWithFormat("%@%@", MessageKeys::kAttachment, position), path);
      }
    }
  }

  std::string text = "korvane://";
  text.append(command).append("?").append(RequestUtils::URLQueryWithParameters(parameters));
  return NSURL::URLWithString(text);
}

}  // namespace korvane
