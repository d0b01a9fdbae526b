#include "host/BrowserMessage.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <utility>

#include "host/InputError.h"
#include "host/LoneSurrogates.h"
#include "host/URLText.h"
#include "platform/detail/Translation.h"
#include "text/Base64.h"

namespace korvane {
namespace {

using Json = nlohmann::json;

// Reads until so many bytes are there or the other side has no more.
std::string readUpTo(int file, std::size_t size) {
  constexpr std::size_t kStep = std::size_t{1} << 20;
  std::string bytes;
  while (bytes.size() < size) {
    const std::size_t had = bytes.size();
    bytes.resize(had + std::min(kStep, size - had));
    const ssize_t got = ::read(file, bytes.data() + had, bytes.size() - had);
    bytes.resize(had + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got == 0) break;
    if (got < 0 && errno != EINTR) {
      throw InputError(
          translated("the browser's message cannot be read: {0}", std::strerror(errno)));
    }
  }
  return bytes;
}

constexpr std::array<std::string_view, 5> kKeys{"title", "text", "html", "url", "imageData"};
enum Key : std::size_t { kTitle, kText, kHtml, kUrl, kImageData };

using Fields = std::array<std::optional<std::string>, kKeys.size()>;

// Takes the events of the JSON reader, so that nothing but the texts is ever held.
class FieldReader final : public nlohmann::json_sax<Json> {
 public:
  Fields take() { return std::move(fields_); }

  bool null() override { return refuse(); }
  bool boolean(bool) override { return refuse(); }
  bool number_integer(number_integer_t) override { return refuse(); }
  bool number_unsigned(number_unsigned_t) override { return refuse(); }
  bool number_float(number_float_t, const string_t&) override { return refuse(); }
  bool binary(binary_t&) override { return refuse(); }
  bool start_array(std::size_t) override { return refuse(); }
  bool end_array() override { return true; }

  bool start_object(std::size_t) override {
    if (inside_) return refuse();
    inside_ = true;
    return true;
  }
  bool end_object() override { return true; }

  bool key(string_t& name) override {
    key_ = static_cast<std::size_t>(std::find(kKeys.begin(), kKeys.end(), name) - kKeys.begin());
    if (key_ == kKeys.size())
      throw InputError(translated("the browser's message has a key that is not known"));
    if (fields_[key_]) {
      throw InputError(translated("the browser's message gives \"{0}\" twice", kKeys[key_]));
    }
    return true;
  }

  bool string(string_t& value) override {
    if (!inside_) return refuse();
    fields_[key_] = std::move(value);
    return true;
  }

  bool parse_error(std::size_t position, const std::string&,
                   const nlohmann::detail::exception&) override {
    throw InputError(
        translated("the browser's message is not JSON at byte {0}", std::to_string(position)));
  }

 private:
  bool refuse() const {
    if (!inside_) throw InputError(translated("the browser's message must be an object"));
    throw InputError(translated("the browser's message must have a text for \"{0}\"", kKeys[key_]));
  }

  Fields fields_;
  std::size_t key_ = 0;
  bool inside_ = false;
};

/// A page's title on one line, whatever its script has put there.
std::string withoutControls(std::string text) {
  std::ranges::replace_if(
      text, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }, ' ');
  return text;
}

bool isWebAddress(std::string_view url) {
  static constexpr std::array<std::string_view, 4> kSchemes{"http", "https", "ftp", "mailto"};
  return std::any_of(kSchemes.begin(), kSchemes.end(),
                     [&](std::string_view scheme) { return schemeIs(url, scheme); });
}

}  // namespace

std::string readBrowserMessage(int file) {
  std::uint32_t length = 0;
  const std::string head = readUpTo(file, sizeof length);
  if (head.size() < sizeof length) throw InputError(translated("the browser sent no message"));
  std::memcpy(&length, head.data(), sizeof length);
  if (length > kMaxBrowserMessage) {
    throw InputError(translated("the browser's message is larger than 64 MiB"));
  }
  std::string message = readUpTo(file, length);
  if (message.size() < length) throw InputError(translated("the browser's message ends too early"));
  return message;
}

ShareRequest requestOfBrowserMessage(std::string_view json) {
  // Those that a page has cut in two.
  const std::optional<std::string> repaired = withoutLoneSurrogates(json);
  if (repaired) json = *repaired;
  FieldReader reader;
  Json::sax_parse(json.begin(), json.end(), &reader);
  Fields fields = reader.take();

  using Kind = ShareRequest::Content::Kind;
  ShareRequest request;
  ShareRequest::Item item;
  const auto given = [&](Key key) { return fields[key] && !fields[key]->empty(); };
  const bool hasLink = given(kUrl) && isWebAddress(*fields[kUrl]);
  const bool isTitleAlone = !given(kHtml) && !given(kText) && !given(kUrl) && !given(kImageData);
  if (given(kTitle)) item.title = withoutControls(*std::move(fields[kTitle]));
  if (given(kHtml)) {
    item.contents.push_back(
        {Kind::html, std::move(*fields[kHtml]), hasLink ? *fields[kUrl] : std::string()});
  } else if (given(kText)) {
    item.contents.push_back({Kind::text, std::move(*fields[kText])});
  }
  // Only a link makes the title a subject; without one it is a line of the message.
  if (item.title && !hasLink && !isTitleAlone) {
    item.contents.push_back({Kind::text, *std::exchange(item.title, std::nullopt)});
  }
  if (hasLink) {
    item.attachments.push_back(ShareRequest::Link{std::move(*fields[kUrl])});
  } else if (given(kUrl)) {
    item.contents.push_back({Kind::text, std::move(*fields[kUrl])});
  }
  if (given(kImageData)) {
    if (auto data = decodedBase64<NSData>(*fields[kImageData], Base64Leniency::whiteSpace);
        data && !data->empty()) {
      item.attachments.push_back(ShareRequest::ImageData{std::move(*data)});
    } else {
      request.unread.push_back({"image.png", translated("what the browser sent is not base64")});
    }
  }
  if (item.contents.empty() && item.attachments.empty() && request.unread.empty()) {
    throw InputError(translated("the browser's message has nothing to share"));
  }
  request.items.push_back(std::move(item));
  return request;
}

std::string framedBrowserAnswer(std::string_view json) {
  if (json.size() > kMaxBrowserAnswer)
    throw std::length_error(translated("the answer for the browser is larger than 1 MiB"));
  const auto length = static_cast<std::uint32_t>(json.size());
  std::string answer(sizeof length, '\0');
  std::memcpy(answer.data(), &length, sizeof length);
  answer += json;
  return answer;
}

}  // namespace korvane
