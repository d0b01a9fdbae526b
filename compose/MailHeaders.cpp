#include "compose/MailHeaders.h"

#include <algorithm>

#include "text/ASCII.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

constexpr std::size_t kLineWidth = 76;
// What an encoded word holds; with its marks it may have 75 characters.
constexpr std::size_t kEncodedWord = 60;
// What a value of RFC 2231 holds on one line, percent escapes included.
constexpr std::size_t kParameterPiece = 54;

bool isPrintable(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= ' ' && c < 0x7F; });
}

/// Whether a text can stand as it is: nothing in it reads as an encoded word, and its white space
/// survives folding.
bool standsAsItIs(std::string_view text) {
  if (!isPrintable(text) || text.find("=?") != text.npos || text.find("  ") != text.npos ||
      text.starts_with(' ') || text.ends_with(' ')) {
    return false;
  }
  while (!text.empty()) {
    const std::size_t length = std::min(text.find(' '), text.size());
    if (length > kLineWidth - 14) return false;
    text.remove_prefix(std::min(length + 1, text.size()));
  }
  return true;
}

/// A character with a mark and two hexadecimal digits for each byte that does not stand for itself.
std::string escaped(std::string_view character, char mark, std::string_view plainMarks) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string result;
  for (const char c : character) {
    const auto byte = static_cast<unsigned char>(c);
    if (isAlphanumeric(c) || plainMarks.find(c) != plainMarks.npos) {
      result += c;
    } else {
      result += {mark, kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return result;
}

/// In the form "Q": of several words in base64, some readers lose all that follows a padding.
std::string encodedWords(std::string_view text) {
  std::string result;
  std::string word;
  const auto endWord = [&] {
    if (word.empty()) return;
    if (!result.empty()) result += "\n ";
    result.append("=?UTF-8?Q?").append(word).append("?=");
    word.clear();
  };
  while (!text.empty()) {
    const std::size_t length = firstUTF8Character(text).size;
    const std::string written =
        text.front() == ' ' ? "_" : escaped(text.substr(0, length), '=', "");
    if (word.size() + written.size() > kEncodedWord) endWord();
    word += written;
    text.remove_prefix(length);
  }
  endWord();
  return result;
}

/// Inside quotes, where ASCII says it: readers differ in what they make of several encoded words.
std::string displayName(const std::string& name) {
  if (!isPrintable(name) || name.find("=?") != name.npos) return encodedWords(name);
  std::string quoted = "\"";
  for (const char c : name) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted += '"';
}

}  // namespace

std::string headerText(std::string_view text) {
  if (!standsAsItIs(text)) return encodedWords(text);
  std::string result;
  std::size_t column = 10;  // the longest of the headers' names
  while (!text.empty()) {
    const std::size_t length = std::min(text.find(' '), text.size());
    if (!result.empty()) {
      const bool fold = column + 1 + length > kLineWidth;
      result += fold ? "\n " : " ";
      column = fold ? 1 : column + 1;
    }
    result += text.substr(0, length);
    column += length;
    text.remove_prefix(std::min(length + 1, text.size()));
  }
  return result;
}

std::string headerMailboxes(const std::vector<Mailbox>& mailboxes) {
  std::string result;
  for (const Mailbox& mailbox : mailboxes) {
    if (!result.empty()) result += ",\n ";
    if (mailbox.name.empty()) {
      result += mailbox.address;
    } else {
      result.append(displayName(mailbox.name)).append("\n <").append(mailbox.address).append(">");
    }
  }
  return result;
}

std::string headerParameter(std::string_view name, std::string_view value) {
  std::string result = ";\n ";
  result += name;
  if (standsAsItIs(value) && value.find_first_of("\"\\'%") == value.npos &&
      value.size() <= kParameterPiece) {
    return result.append("=\"").append(value).append("\"");
  }
  std::vector<std::string> pieces{"UTF-8''"};
  while (!value.empty()) {
    // A character stays whole: some readers decode line by line.
    const std::size_t length = firstUTF8Character(value).size;
    const std::string written = escaped(value.substr(0, length), '%', ".-_");
    if (pieces.back().size() + written.size() > kParameterPiece) pieces.emplace_back();
    pieces.back() += written;
    value.remove_prefix(length);
  }
  if (pieces.size() == 1) return result.append("*=").append(pieces.front());
  std::string whole;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    whole.append(";\n ").append(name).append("*").append(std::to_string(i)).append("*=");
    whole += pieces[i];
  }
  return whole;
}

}  // namespace korvane
