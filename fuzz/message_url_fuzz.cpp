// A command URL of any bytes gives a message without an exception, and what the message then says
// comes back from its own command URL.

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/MessageReport.h"
#include "model/ExtensionMessage.h"
#include "platform/NSString.h"
#include "platform/NSURL.h"

namespace {

using namespace korvane;

void require(bool condition) {
  if (!condition) std::abort();
}

/// A text as it comes back: an absent one as empty, for a URL carries neither, and without one byte
/// order mark at its beginning, which decoding drops.
std::string carried(std::string text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);
  return text;
}

std::string textOf(const Value& value) { return value.isAbsent() ? "" : std::string(value.text()); }

void requireRoundTrip(const ExtensionMessage& message) {
  const std::optional<NSURL> url = message.queryUrl("compose");
  require(url.has_value());
  const auto back = ExtensionMessage::ExtensionMessageWithUrl(*url);
  require(textOf(back->subject()) == carried(textOf(message.subject())));
  require(textOf(back->from()) == carried(textOf(message.from())));
  require(textOf(back->account()) == carried(textOf(message.account())));
  require(back->plainBody() == carried(message.plainBody().value()));
  require(back->htmlBody() == carried(message.htmlBody().value()));
  const List read = back->attachments().value();
  const List written = message.attachments().value();
  require(read.size() == written.size());
  for (std::size_t i = 0; i < read.size(); ++i) {
    require(textOf(read[i]) == carried(textOf(written[i])));
  }
  require(!back->toString() && !back->ccString() && !back->bccString());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const std::string& candidate :
       {std::string(text), "korvane://compose?" + std::string(text)}) {
    const std::optional<NSURL> url = NSURL::URLWithString(candidate);
    if (!url) continue;
    const auto message = ExtensionMessage::ExtensionMessageWithUrl(*url);
    require(message->to()->empty() && message->cc()->empty() && message->bcc()->empty());
    requireRoundTrip(*message);
    // The report would look at whatever files the paths name.
    message->setAttachments(List());
    require(isUTF8(messageText(*message)) && isUTF8(messageJSON(*message)));
    message->renderHtml();
  }
  if (isUTF8(text)) {
    ExtensionMessage message;
    message.setSubject(text);
    message.setPlainBody(std::string(text));
    message.setAttachments(List{text, text});
    requireRoundTrip(message);
  }
  return 0;
}
