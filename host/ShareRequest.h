#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/MissingThing.h"
#include "platform/Value.h"

namespace korvane {

/// What is to be shared, as it was handed over: the form is checked, nothing is opened yet.
struct ShareRequest {
  /// A URL as text, of any scheme; it may need repair. A file: URL stands for its file.
  struct Link {
    std::string url;
    friend bool operator==(const Link&, const Link&) = default;
  };
  /// A file or folder; bytes of a path, never empty.
  struct File {
    std::string path;
    friend bool operator==(const File&, const File&) = default;
  };
  /// A file whose content is handed over as image data.
  struct ImageFile {
    std::string path;
    friend bool operator==(const ImageFile&, const ImageFile&) = default;
  };
  /// An encoded image.
  struct ImageData {
    NSData data;
    friend bool operator==(const ImageData&, const ImageData&) = default;
  };
  /// A text under a uniform type identifier.
  struct TypedText {
    std::string type;
    std::string text;
    friend bool operator==(const TypedText&, const TypedText&) = default;
  };
  using Attachment = std::variant<Link, File, ImageFile, ImageData, TypedText>;

  /// One piece of accompanying text: plain text in UTF-8, or an HTML document in its own encoding.
  struct Content {
    enum class Kind { text, html };
    Kind kind;
    std::string bytes;
    /// What relative links of a document are relative to; http or https, empty where not known.
    std::string baseUrl = {};
    friend bool operator==(const Content&, const Content&) = default;
  };

  struct Item {
    std::optional<std::string> title;
    std::vector<Content> contents;
    std::vector<Attachment> attachments;
    friend bool operator==(const Item&, const Item&) = default;
  };

  std::vector<Item> items;
  /// What was handed over too, and could not be read.
  std::vector<MissingThing> unread;
  friend bool operator==(const ShareRequest&, const ShareRequest&) = default;
};

/// Largest request, and largest data read from a file or standard input, in bytes: 256 MiB.
inline constexpr std::size_t kMaxInput = std::size_t{256} << 20;

/// Reads a request in JSON (RFC 8259, UTF-8):
///
///     {"items": [{"title": T, "text": T, "html": T, "baseUrl": T, "attachments": [A, …]}, …]}
///
/// Every key of an item may be missing. "baseUrl", an http or https URL, is the page that the HTML
/// is from: its relative links are seen from there. An attachment A is one of {"url": T}, {"file":
/// PATH},
/// {"image": PATH}, {"imageData": BASE64} and {"type": IDENTIFIER, "text": T}. T is a text; "html"
/// holds the document itself. A path is taken as UTF-8 and, where relative, from the working
/// directory; a name that is not UTF-8 goes into a file: URL. Base64 is that of RFC 4648 section 4
/// with its padding; white space in it is skipped.
///
/// Half of a surrogate pair in a text ("\ud83d") becomes U+FFFD. An attachment that is not exactly
/// one of the above, or whose value is of the wrong kind, is lost alone: it is among `unread`.
///
/// Throws InputError for text that is not JSON, not complete, over kMaxInput or nested deeper
/// than 32 levels, for unknown keys (all of them are named), a key given twice, a value of the
/// wrong kind elsewhere (named with its place, such as `items[0].title`), and more than 100,000
/// items or attachments.
ShareRequest readShareRequest(std::string_view json);

}  // namespace korvane
