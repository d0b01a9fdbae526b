#include "formats/html/HTMLCharacters.h"

#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

#include "formats/html/HTMLEntities.h"
#include "text/ASCII.h"
#include "text/UTF8.h"
#include "text/Windows1252.h"

namespace korvane {
namespace {

struct Reference {
  std::uint32_t code;
  std::size_t length;        // from the "&" on
  std::uint32_t second = 0;  // where a name stands for two characters
};

std::optional<Reference> numericReference(std::string_view text) {
  const bool hexadecimal = text.size() > 2 && lowercase(text[2]) == 'x';
  const unsigned base = hexadecimal ? 16 : 10;
  const std::size_t begin = hexadecimal ? 3 : 2;
  std::size_t at = begin;
  std::uint32_t code = 0;
  for (; at < text.size(); ++at) {
    const unsigned digit = hexDigitValue(text[at]);
    if (digit >= base) break;
    code = std::min<std::uint32_t>(code * base + digit, 0x110000);
  }
  if (at == begin) return std::nullopt;
  if (at < text.size() && text[at] == ';') ++at;
  // Numbers of control characters mean what the bytes are in windows-1252.
  if (code >= 0x80 && code < 0xA0) code = windows1252Character(static_cast<unsigned char>(code));
  if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000))
    code = kReplacementCharacter;
  return Reference{code, at};
}

std::optional<Reference> namedReference(std::string_view text, HTMLPlace place) {
  std::size_t end = 1;
  while (end < text.size() && end <= kMaxHTMLEntityName && isAlphanumeric(text[end])) ++end;
  if (end < text.size() && text[end] == ';') {
    if (const HTMLEntity* found = findHTMLEntity(text.substr(1, end - 1))) {
      return Reference{found->first, end + 1, found->second};
    }
  }
  // Some old names also count without their semicolon, and then the longest that fits does.
  for (std::size_t stop = std::min(end, kMaxBareHTMLEntityName + 1); stop > 1; --stop) {
    const HTMLEntity* found = findHTMLEntity(text.substr(1, stop - 1));
    if (found == nullptr || !found->bare) continue;
    const char next = stop < text.size() ? text[stop] : '\0';
    // "?a=1&copy=2" in a link is not a sign.
    if (place == HTMLPlace::attribute && (next == '=' || isAlphanumeric(next))) {
      return std::nullopt;
    }
    return Reference{found->first, stop};
  }
  return std::nullopt;
}

std::string convert(const NSData& document, std::size_t skipped, const char* charset) {
  const auto* bytes = reinterpret_cast<const char*>(document.data()) + skipped;
  std::string out;
  icu::UnicodeString(bytes, static_cast<std::int32_t>(document.size() - skipped), charset)
      .toUTF8String(out);
  return out;
}

// The encoding that a <meta> within the first bytes names, empty where there is none.
std::string namedCharset(std::string_view bytes) {
  const std::string head = lowercase(bytes.substr(0, 1024));
  for (std::size_t at = head.find("<meta"); at != head.npos; at = head.find("<meta", at + 5)) {
    const std::string tag = head.substr(at, head.find('>', at) - at);
    std::size_t value = tag.find("charset");
    if (value == tag.npos) continue;
    value = tag.find_first_not_of(" \t\n\r\f", value + 7);
    if (value == tag.npos || tag[value] != '=') continue;
    value = tag.find_first_not_of(" \t\n\r\f\"'", value + 1);
    if (value == tag.npos) continue;
    return tag.substr(value, tag.find_first_of(" \t\n\r\f\"';/>", value) - value);
  }
  return {};
}

std::string decode(const NSData& document) {
  const std::string_view bytes(reinterpret_cast<const char*>(document.data()), document.size());
  if (bytes.starts_with(kByteOrderMark)) return convert(document, 3, "UTF-8");
  if (bytes.starts_with("\xFF\xFE")) return convert(document, 2, "UTF-16LE");
  if (bytes.starts_with("\xFE\xFF")) return convert(document, 2, "UTF-16BE");

  // Markup is ASCII for the most part, of which UTF-16 has every other byte 0.
  const std::string_view head = bytes.substr(0, std::min<std::size_t>(bytes.size(), 512) / 2 * 2);
  const std::size_t looked = head.size();
  std::array<std::size_t, 2> zeros{};
  for (std::size_t i = head.find('\0'); i != head.npos; i = head.find('\0', i + 1)) ++zeros[i % 2];
  if (looked >= 4 && zeros[1] * 4 > looked && zeros[0] * 8 < looked) {
    return convert(document, 0, "UTF-16LE");
  }
  if (looked >= 4 && zeros[0] * 4 > looked && zeros[1] * 8 < looked) {
    return convert(document, 0, "UTF-16BE");
  }

  const std::string charset = namedCharset(bytes);
  const bool claimsASCII = charset.empty() || charset.starts_with("utf-") ||
                           charset == "us-ascii" || charset == "iso-8859-1";
  if (claimsASCII && isValidUTF8(bytes)) return std::string(bytes);
  if (charset.starts_with("utf-")) return convert(document, 0, "UTF-8");
  if (!claimsASCII) {
    std::string text = convert(document, 0, charset.c_str());
    if (!text.empty()) return text;  // nothing where the name means nothing
  }
  return textOfWindows1252(bytes);
}

}  // namespace

std::string htmlText(const NSData& document) {
  std::string text = decode(document);
  if (text.find('\0') == text.npos && text.find('\r') == text.npos) return text;
  std::size_t to = 0;
  for (std::size_t from = 0; from < text.size(); ++from) {
    const char c = text[from];
    if (c == '\0') continue;
    if (c == '\r' && from + 1 < text.size() && text[from + 1] == '\n') continue;
    text[to++] = c == '\r' ? '\n' : c;
  }
  text.resize(to);
  return text;
}

std::string decodeCharacterReferences(std::string_view text, HTMLPlace place) {
  if (text.find('&') == text.npos) return std::string(text);
  std::string out;
  out.reserve(text.size());
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t found = std::min(text.find('&', at), text.size());
    out += text.substr(at, found - at);
    at = found;
    if (at == text.size()) break;
    const std::string_view rest = text.substr(at);
    const auto reference =
        rest.size() > 1 && rest[1] == '#' ? numericReference(rest) : namedReference(rest, place);
    if (reference) {
      appendUTF8(reference->code, out);
      if (reference->second != 0) appendUTF8(reference->second, out);
      at += reference->length;
    } else {
      out += '&';
      ++at;
    }
  }
  return out;
}

std::string withoutControlCharacters(std::string_view text) {
  // Nearly all texts have none.
  const auto isSuspect = [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte < 0x20 && c != '\n' && c != '\t') || byte == 0x7F || byte == 0xC2;
  };
  if (std::none_of(text.begin(), text.end(), isSuspect)) return std::string(text);
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    const auto next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0U;
    if (c == '\f' || c == '\r') {
      out += ' ';
    } else if (c == 0xC2 && next >= 0x80 && next < 0xA0) {
      ++i;
    } else if ((c >= 0x20 && c != 0x7F) || c == '\n' || c == '\t') {
      out += text[i];
    }
  }
  return out;
}

void appendHTMLEscaped(std::string_view text, std::string& out) {
  std::size_t plain = 0;
  const auto replace = [&](std::size_t at, std::size_t length, std::string_view with) {
    out += text.substr(plain, at - plain);
    out += with;
    plain = at + length;
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    const auto next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0U;
    if (c == '&') {
      replace(i, 1, "&amp;");
    } else if (c == '<') {
      replace(i, 1, "&lt;");
    } else if (c == '>') {
      replace(i, 1, "&gt;");
    } else if (c == '"') {
      replace(i, 1, "&quot;");
    } else if (c == 0xC2 && next == 0xA0) {
      replace(i, 2, "&nbsp;");
    }
  }
  out += text.substr(plain);
}

}  // namespace korvane
