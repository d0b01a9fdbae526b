#include "host/PurposeMessage.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <utility>

#include "formats/cbor/CBOR.h"
#include "host/DataURL.h"
#include "host/InputError.h"
#include "host/JSONWriter.h"
#include "host/URLText.h"
#include "platform/NSString.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

/// Reads so many bytes at most, one at least. Throws InputError.
std::size_t readSome(int socket, char* to, std::size_t size, std::chrono::milliseconds patience) {
  for (;;) {
    pollfd wanted{socket, POLLIN, 0};
    const int ready = ::poll(&wanted, 1, static_cast<int>(patience.count()));
    if (ready == 0) throw InputError(translated("the Share menu does not go on with its message"));
    const ssize_t got = ready < 0 ? -1 : ::read(socket, to, size);
    if (got > 0) return static_cast<std::size_t>(got);
    if (got == 0) throw InputError(translated("the Share menu's message ends too early"));
    if (errno != EINTR && errno != EAGAIN) {
      throw InputError(
          translated("the Share menu's message cannot be read: {0}", std::strerror(errno)));
    }
  }
}

std::size_t readLength(int socket, std::chrono::milliseconds patience) {
  constexpr std::size_t kMaxDigits = 20;
  std::string digits;
  for (char c = 0; readSome(socket, &c, 1, patience), c != '\n'; digits += c) {
    if (digits.size() == kMaxDigits) break;
  }
  std::size_t length = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), length);
  if (error == std::errc::result_out_of_range || length > kMaxPurposeMessage) {
    throw InputError(translated("the Share menu's message is larger than 256 MiB"));
  }
  if (error != std::errc() || end != digits.data() + digits.size()) {
    throw InputError(translated("the Share menu's message does not begin with its length"));
  }
  return length;
}

/// The text under a key; nothing where there is none.
std::optional<std::string> textUnder(const CBORItem& message, const char* key) {
  const CBORItem* item = message.find(key);
  if (!item || *item == CBORItem{kCBORNull}) return std::nullopt;
  if (!item->text()) {
    throw InputError(translated("the Share menu's message must have a text for \"{0}\"", key));
  }
  return *item->text();
}

void addURLs(const CBORItem& message, const char* key, std::vector<std::string>& urls) {
  const CBORItem* item = message.find(key);
  if (!item || *item == CBORItem{kCBORNull}) return;
  const auto refuse = [&]() -> void {
    throw InputError(translated("the Share menu's message must have texts for \"{0}\"", key));
  };
  if (item->text()) {
    urls.push_back(*item->text());
    return;
  }
  if (!item->array()) refuse();
  for (const CBORItem& url : *item->array()) {
    if (!url.text()) refuse();
    urls.push_back(*url.text());
  }
}

using Kind = ShareRequest::Content::Kind;

/// What a data: URL holds becomes a picture or a text.
void addData(DataURL data, ShareRequest& request, ShareRequest::Item& item) {
  const bool isImage = data.type.starts_with("image/");
  const bool isHtml = data.type == "text/html";
  if (!data.bytes) {
    request.unread.push_back(
        {isImage ? translated("a picture") : translated("a text"), translated("it is not base64")});
  } else if (isImage) {
    item.attachments.push_back(
        ShareRequest::ImageData{NSData(data.bytes->begin(), data.bytes->end())});
  } else if (data.type == "text/plain" && !isUTF8(*data.bytes)) {
    request.unread.push_back({translated("a text"), translated("it is not UTF-8")});
  } else if (isHtml || data.type == "text/plain") {
    item.contents.push_back({isHtml ? Kind::html : Kind::text, *std::move(data.bytes)});
  } else {
    request.unread.push_back(
        {translated("a data: URL"), translated("it holds neither a picture nor a text")});
  }
}

}  // namespace

std::string readPurposeMessage(int socket, std::chrono::milliseconds patience) {
  constexpr std::size_t kStep = std::size_t{1} << 20;
  const std::size_t length = readLength(socket, patience);
  std::string message;
  while (message.size() < length) {
    const std::size_t had = message.size();
    message.resize(had + std::min(kStep, length - had));
    const std::size_t got = readSome(socket, message.data() + had, message.size() - had, patience);
    message.resize(had + got);
  }
  return message;
}

ShareRequest requestOfPurposeMessage(std::string_view cbor) {
  const auto message = readCBOR(cbor);
  if (!message || !std::holds_alternative<CBORItem::Map>(message->untagged().value)) {
    throw InputError(translated("the Share menu's message cannot be read"));
  }
  std::vector<std::string> urls;
  addURLs(*message, "urls", urls);
  addURLs(*message, "url", urls);

  ShareRequest request;
  ShareRequest::Item item;
  item.title = textUnder(*message, "title");
  if (auto text = textUnder(*message, "text"); text && !text->empty()) {
    item.contents.push_back({Kind::text, *std::move(text)});
  }
  bool hasLink = false;
  for (std::string& url : urls) {
    if (url.empty()) continue;
    if (auto data = readDataURL(url)) {
      addData(*std::move(data), request, item);
    } else if (url.starts_with('/')) {
      item.attachments.push_back(ShareRequest::File{std::move(url)});
    } else {
      hasLink = hasLink || !schemeIs(url, "file");
      item.attachments.push_back(ShareRequest::Link{std::move(url)});
    }
  }
  const bool isEmpty = item.contents.empty() && item.attachments.empty() && request.unread.empty();
  if (isEmpty) throw InputError(translated("the Share menu's message has nothing to share"));
  // Only a link makes the title a subject.
  if (item.title && !hasLink) {
    if (!item.title->empty()) {
      item.contents.insert(item.contents.begin(), {Kind::text, *std::move(item.title)});
    }
    item.title.reset();
  }
  request.items.push_back(std::move(item));
  return request;
}

std::string purposeProgress(double part) {
  constexpr double kWhole = 100;
  const auto percent = std::lround(std::clamp(part, 0.0, 1.0) * kWhole);
  return "{\"percent\":" + std::to_string(percent) + "}\n";
}

std::string purposeFailure(std::string_view reason) {
  // Below 100 are the framework's own: 1 is said of a job that was cancelled, and is not shown.
  return "{\"error\":100,\"errorText\":" + jsonString(reason) + "}\n";
}

std::string purposeDone() { return "{\"percent\":100}\n{\"output\":{\"url\":\"\"}}\n"; }

}  // namespace korvane
