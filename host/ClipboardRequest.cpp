#include "host/ClipboardRequest.h"

#include <algorithm>
#include <array>
#include <bit>
#include <initializer_list>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "host/DataURL.h"
#include "host/URLText.h"
#include "platform/NSAttributedString.h"
#include "platform/NSData.h"
#include "platform/detail/Translation.h"
#include "text/ASCII.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

using Item = ShareRequest::Item;
using Kind = ShareRequest::Content::Kind;

/// What of a clipboard has been asked for: its types, and their contents.
class Offer {
 public:
  explicit Offer(Clipboard& clipboard) : clipboard_(clipboard), types_(clipboard.types()) {}

  bool isEmpty() const { return types_.empty(); }

  /// What there is of the first of the types that is offered and can be read.
  std::optional<std::string> read(std::initializer_list<std::string_view> types) {
    for (const std::string_view wanted : types) {
      for (const std::string& type : types_) {
        if (!equalIgnoringCase(type, wanted)) continue;
        if (auto bytes = clipboard_.read(type, kMaxInput); bytes && !bytes->empty()) return bytes;
      }
    }
    return std::nullopt;
  }

 private:
  Clipboard& clipboard_;
  const std::vector<std::string> types_;
};

/// The addresses of a text/uri-list (RFC 2483, section 5) or of a file manager's own type, which
/// begins with a line "copy" or "cut".
std::vector<std::string> addressesIn(std::string_view list) {
  std::vector<std::string> found;
  while (!list.empty()) {
    const std::size_t end =
        std::min(list.find_first_of(std::string_view("\n\r\0", 3)), list.size());
    const std::string_view line = list.substr(0, end);
    list.remove_prefix(std::min(end + 1, list.size()));
    if (!line.empty() && line[0] != '#' && !schemeOf(line).empty()) found.emplace_back(line);
  }
  return found;
}

bool addFiles(Offer& offer, Item& item) {
  for (const char* type :
       {"x-special/gnome-copied-files", "x-special/mate-copied-files", "text/uri-list"}) {
    for (std::string& address : addressesIn(offer.read({type}).value_or(""))) {
      if (auto picture = pictureOfDataURL(address)) {
        item.attachments.push_back(ShareRequest::ImageData{*std::move(picture)});
      } else {
        item.attachments.push_back(ShareRequest::Link{std::move(address)});
      }
    }
    if (!item.attachments.empty()) return true;
  }
  return false;
}

/// Text in UTF-16 without a mark, in the machine's byte order, as Firefox puts it there.
std::string textOfUTF16(std::string_view bytes) {
  std::string swapped(bytes.substr(0, bytes.size() / 2 * 2));
  if constexpr (std::endian::native == std::endian::little) {
    for (std::size_t i = 0; i + 1 < swapped.size(); i += 2) std::swap(swapped[i], swapped[i + 1]);
  }
  return utf8OfUTF16(reinterpret_cast<const unsigned char*>(swapped.data()), swapped.size() / 2);
}

/// The page that something was copied from, where it is one on the web.
std::optional<std::string> sourcePage(Offer& offer) {
  std::optional<std::string> page = offer.read({"chromium/x-source-url"});
  if (!page) {
    if (const auto wide = offer.read({"text/x-moz-url-priv"})) page = textOfUTF16(*wide);
  }
  if (!page) return std::nullopt;
  page->resize(std::min(page->find_first_of(std::string_view("\n\r\0", 3)), page->size()));
  const bool isOnTheWeb = schemeIs(*page, "http") || schemeIs(*page, "https");
  return isOnTheWeb ? page : std::nullopt;
}

/// Whether there is anything to read in an HTML document: that of a picture alone has nothing.
bool hasText(std::string_view html) {
  const auto styled = NSAttributedString::initWithHTML(NSData(html.begin(), html.end()));
  if (!styled) return false;
  // What stands for a picture in a text, and the space that does not break.
  static constexpr std::array<std::string_view, 2> kNothing{"\xEF\xBF\xBC", "\xC2\xA0"};
  std::string_view text = styled->string();
  while (!text.empty()) {
    const auto* nothing = std::find_if(kNothing.begin(), kNothing.end(),
                                       [&](auto bytes) { return text.starts_with(bytes); });
    const bool isVisible = nothing == kNothing.end() && static_cast<unsigned char>(text[0]) > ' ';
    if (isVisible) return true;
    text.remove_prefix(nothing == kNothing.end() ? 1 : nothing->size());
  }
  return false;
}

bool addStyledText(Offer& offer, Item& item) {
  auto html = offer.read({"text/html"});
  if (!html || !hasText(*html)) return false;
  auto page = sourcePage(offer);
  item.contents.push_back({Kind::html, std::move(*html), page.value_or("")});
  if (page) item.attachments.push_back(ShareRequest::Link{std::move(*page)});
  return true;
}

/// Pictures of a page that were selected without a text: their addresses are all there is of them.
bool addMarkup(Offer& offer, Item& item) {
  auto html = offer.read({"text/html"});
  if (!html) return false;
  const auto styled = NSAttributedString::initWithHTML(NSData(html->begin(), html->end()));
  auto page = sourcePage(offer);
  const bool hasPicture = styled && styled->string().find("\xEF\xBF\xBC") != std::string::npos;
  if (!hasPicture && !page) return false;
  item.contents.push_back({Kind::html, std::move(*html), page.value_or("")});
  if (page) item.attachments.push_back(ShareRequest::Link{std::move(*page)});
  return true;
}

bool addPicture(Offer& offer, Item& item) {
  const auto picture = offer.read({"image/png", "image/tiff", "image/webp", "image/jpeg",
                                   "image/gif", "image/svg+xml", "image/bmp", "image/x-bmp"});
  if (!picture) return false;
  item.attachments.push_back(ShareRequest::ImageData{NSData(picture->begin(), picture->end())});
  if (auto page = sourcePage(offer)) {
    item.attachments.push_back(ShareRequest::Link{std::move(*page)});
  }
  return true;
}

bool addText(Offer& offer, Item& item) {
  auto text =
      offer.read({"text/plain;charset=utf-8", "UTF8_STRING", "text/plain", "STRING", "TEXT"});
  if (!text) return false;
  item.contents.push_back({Kind::text, std::move(*text)});
  return true;
}

}  // namespace

ShareRequest requestFromClipboard(Clipboard& clipboard) {
  Offer offer(clipboard);
  if (offer.isEmpty()) throw std::runtime_error(translated("the clipboard is empty"));
  Item item;
  if (!addFiles(offer, item) && !addStyledText(offer, item) && !addPicture(offer, item) &&
      !addText(offer, item) && !addMarkup(offer, item)) {
    throw std::runtime_error(translated("the clipboard holds neither files, text nor a picture"));
  }
  ShareRequest request;
  request.items.push_back(std::move(item));
  return request;
}

}  // namespace korvane
