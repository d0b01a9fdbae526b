// Reading a message from a command URL, and the links of a text.

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/ExtensionMessage.h"
#include "model/detail/MessageKeys.h"
#include "platform/NSDataDetector.h"
#include "platform/NSException.h"
#include "urlutils/RequestUtils.h"

namespace korvane {
namespace {

/// The decoded parameters of the URL's query; none when it cannot be located (a "#" before the
/// "?") or a part of it does not decode, since reading a URL never fails.
Dictionary parametersOf(const NSURL& url) {
  try {
    return RequestUtils::URLQueryParameters(url.absoluteString());
  } catch (const NSException&) {
    return {};
  }
}

}  // namespace

std::shared_ptr<ExtensionMessage> ExtensionMessage::ExtensionMessageWithUrl(const NSURL& url) {
  auto message = std::make_shared<ExtensionMessage>();
  List attachments;
  for (const auto& [key, value] : parametersOf(url)) {
    if (!value.isText()) continue;  // a repeated key keeps its last text, so there are no lists
    if (key == MessageKeys::kFrom) {
      message->setFrom(value);
    } else if (key == MessageKeys::kAccount) {
      message->setAccount(value);
    } else if (key == MessageKeys::kSubject) {
      message->setSubject(value);
    } else if (key == MessageKeys::kHtmlBody) {
      message->setHtmlBody(std::string(value.text()));
    } else if (key == MessageKeys::kPlainBody) {
      message->setPlainBody(std::string(value.text()));
    } else if (key == MessageKeys::kTo) {
      message->setToString(std::string(value.text()));
    } else if (key == MessageKeys::kCc) {
      message->setCcString(std::string(value.text()));
    } else if (key == MessageKeys::kBcc) {
      message->setBccString(std::string(value.text()));
    } else if (key.starts_with(MessageKeys::kAttachment)) {
      attachments.push_back(value);
    }
  }
  message->setAttachments(std::move(attachments));
  return message;
}

std::vector<std::string> ExtensionMessage::searchUrlsDetector(std::string_view text) const {
  std::vector<std::string> links;
  for (const NSTextCheckingResult& match : NSDataDetector::installed()->matchesInString(text)) {
    links.push_back(match.url.absoluteString());
  }
  return links;
}

}  // namespace korvane
