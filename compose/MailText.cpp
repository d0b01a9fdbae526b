#include "compose/MailText.h"

#include "platform/NSString.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

bool isControl(char32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x2028 ||
         character == 0x2029;
}

/// The text with what the function makes of each control character in its place and U+FFFD for what
/// is not UTF-8; other characters stay.
template <class Replace>
std::string replacingControls(std::string_view text, Replace replace) {
  std::string result;
  while (!text.empty()) {
    const UTF8Character character = firstUTF8Character(text);
    if (!character.isValid) {
      result += kReplacementUTF8;
    } else if (isControl(character.code)) {
      replace(character.code, result);
    } else {
      result += text.substr(0, character.size);
    }
    text.remove_prefix(character.size);
  }
  return result;
}

}  // namespace

std::string_view truncated(std::string_view text, std::size_t maximumBytes) {
  if (text.size() <= maximumBytes) return text;
  while (maximumBytes > 0 && isUTF8Continuation(text[maximumBytes])) {
    --maximumBytes;
  }
  return text.substr(0, maximumBytes);
}

std::string mailFileName(std::string_view path) {
  while (path.ends_with('/')) path.remove_suffix(1);
  if (const auto slash = path.rfind('/'); slash != path.npos) path.remove_prefix(slash + 1);
  std::string name = replacingControls(path, [](char32_t, std::string& result) { result += '_'; });
  if (name.empty() || name == "." || name == "..") return "file";
  if (name.size() <= kMaxMailFileName) return name;
  std::string extension = pathExtension(name);
  extension = extension.empty() || extension.size() > 32 ? "" : std::string(".").append(extension);
  const std::string_view base(name.data(), name.size() - extension.size());
  return std::string(truncated(base, kMaxMailFileName - extension.size())) + extension;
}

std::string oneLine(std::string_view text) {
  return stringByTrimmingWhitespaceAndNewlines(
      replacingControls(text, [](char32_t, std::string& result) { result += ' '; }));
}

std::string plainLines(std::string_view text) {
  bool afterReturn = false;
  std::string result;
  const std::string marked = replacingControls(text, [](char32_t character, std::string& to) {
    if (character == '\t' || character == '\n' || character == '\r') {
      to += static_cast<char>(character);
    } else if (character == 0x85 || character == 0x2028 || character == 0x2029) {
      to += '\n';
    }
  });
  result.reserve(marked.size());
  for (const char c : marked) {
    if (c == '\r' || (c == '\n' && !afterReturn)) {
      result += '\n';
    } else if (c != '\n') {
      result += c;
    }
    afterReturn = c == '\r';
  }
  return result;
}

bool isPlainPath(std::string_view path) {
  if (!isValidUTF8(path)) return false;
  bool plain = true;
  (void)replacingControls(path, [&](char32_t, std::string&) { plain = false; });
  return plain;
}

}  // namespace korvane
