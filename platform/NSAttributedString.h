#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/NSURL.h"
#include "platform/Value.h"

namespace korvane {

enum class NSDocumentType { html };

/// Styled text: runs of characters with their attributes, or styled text that came as an HTML
/// document. Immutable, cheap to copy; any thread may use it.
class KORVANE_EXPORT NSAttributedString {
 public:
  struct Attributes {
    bool bold = false;
    bool italic = false;
    bool underline = false;
    /// 0xRRGGBB.
    std::optional<std::uint32_t> color = std::nullopt;
    std::optional<NSURL> link = std::nullopt;
    friend bool operator==(const Attributes&, const Attributes&) = default;
  };
  struct Run {
    std::string text;
    Attributes attributes;
  };

  /// Plain text, UTF-8.
  explicit NSAttributedString(std::string_view text = {});
  explicit NSAttributedString(std::vector<Run> runs);

  /// The styled text of an HTML document, through the Platform's reader: active content is taken
  /// out. Nothing when the bytes cannot be read as HTML text at all. Relative links are seen from
  /// `baseURL`, where that is http or https.
  static std::optional<NSAttributedString> initWithHTML(const NSData& html,
                                                        std::string_view baseURL = {});

  /// The characters without their style.
  const std::string& string() const;
  /// Number of bytes of string().
  std::size_t length() const { return string().size(); }

  /// The characters from `location` on, `length` bytes of them, as a document of the type. Raises
  /// NSException (NSRangeException) for a range outside the text. Nothing when it cannot be
  /// converted.
  ///
  /// HTML: a complete document in UTF-8, the same for the same text. Each paragraph, which an empty
  /// line ends, is a block that takes its direction from its own text. Every line break becomes
  /// `<br>`, spaces that HTML would swallow become no-break spaces, tabs stay and line up. Bold,
  /// italic, underline, colour and links (those of isLinkForDocuments(); the text of others stays)
  /// become elements. Control characters are left out; what is not UTF-8, also a character that the
  /// range cuts, becomes U+FFFD. The whole range of a text that came as HTML gives that document as
  /// the reader left it; a part of one gives its plain characters.
  std::optional<NSData> dataFromRange(std::size_t location, std::size_t length,
                                      NSDocumentType documentType) const;

 private:
  struct Content;
  std::shared_ptr<const Content> content_;
};

/// Whether a link is kept in a document that is sent to others: those of the web, of mail,
/// telephone, chat, news, calendars, places, shared files and payments, such as https, mailto, tel,
/// sms, sip, xmpp, matrix, news, webcal, geo, magnet and bitcoin, in any case. Links that run
/// something (javascript:), carry a document (data:), reach into this machine (file:) or are
/// relative to something the receiver does not have are not.
KORVANE_EXPORT bool isLinkForDocuments(std::string_view url);

/// What reading an HTML document gives.
struct KORVANE_EXPORT HTMLText {
  /// The characters that a reader of the document sees, line breaks as "\n", each picture as
  /// U+FFFC. UTF-8.
  std::string text;
  /// The document with its structure and style, without scripts, event handlers and anything that
  /// would load from elsewhere; complete and valid, UTF-8.
  std::string html;
};

/// Reads HTML documents; a service of the Platform. Any thread may call.
class KORVANE_EXPORT HTMLReader {
 public:
  virtual ~HTMLReader() = default;
  /// The installed Platform's.
  static std::shared_ptr<HTMLReader> installed();
  /// Nothing when the bytes cannot be read as HTML. `baseURL` is the address that relative links of
  /// the document are relative to; one that is not http or https counts as none, as an empty one
  /// does.
  virtual std::optional<HTMLText> read(const NSData& html, std::string_view baseURL) = 0;
};

}  // namespace korvane
