#include "formats/links/LinkCharacters.h"

#include <unicode/uchar.h>
#include <unicode/uscript.h>

#include <algorithm>
#include <cstdint>

#include "text/PercentEscapes.h"
#include "text/UTF8.h"

namespace korvane::links {
namespace {

// Legal in a path, query or fragment wherever they stand.
constexpr ASCIISet kAlwaysLegal =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-._~:/?[]@!$&'()*+,;=";

}  // namespace

Character wideCharacterAt(std::string_view text, std::size_t at) {
  const UTF8Character character = wideUTF8Character(text.substr(at));
  return character.isValid ? Character{character.code, character.size} : Character{};
}

Character characterBefore(std::string_view text, std::size_t at) {
  if (isASCII(text[at - 1])) return {static_cast<char32_t>(text[at - 1]), 1};
  for (std::size_t length = 2; length <= std::min<std::size_t>(4, at); ++length) {
    const Character character = characterAt(text, at - length);
    if (character.scalar != Character::invalid && character.length == length) return character;
  }
  return {};
}

bool isWideHostCharacter(char32_t scalar) {
  if (scalar > 0x10FFFF) return false;
  const auto c = static_cast<UChar32>(scalar);
  return (U_GET_GC_MASK(c) & (U_GC_L_MASK | U_GC_M_MASK | U_GC_ND_MASK)) != 0 &&
         !u_hasBinaryProperty(c, UCHAR_DEFAULT_IGNORABLE_CODE_POINT);
}

bool isWideLinkCharacter(char32_t scalar) {
  if (scalar > 0x10FFFF || scalar == 0xFFFC || scalar == 0xFFFD) return false;
  if (scalar == 0xB7) return true;  // the middle dot inside Catalan words
  // The wide "|" and the lines of boxes part one cell from another.
  if (scalar == 0xFF5C || (scalar >= 0x2500 && scalar <= 0x257F)) return false;
  const auto c = static_cast<UChar32>(scalar);
  constexpr std::uint32_t wanted =
      U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK | U_GC_S_MASK | U_GC_PD_MASK | U_GC_PC_MASK;
  return (U_GET_GC_MASK(c) & wanted) != 0 &&
         !u_hasBinaryProperty(c, UCHAR_DEFAULT_IGNORABLE_CODE_POINT);
}

bool isWordJoiner(char32_t scalar) {
  switch (scalar) {
    case 0x055A:  // Armenian apostrophe
    case 0x05F3:  // geresh
    case 0x05F4:  // gershayim
    case 0x0F0B:  // the mark between Tibetan syllables
    case 0x200C:
    case 0x200D:
    case 0x2019:
    case 0x2027:
    case 0x30FB:
    case 0xFE0E:
    case 0xFE0F:
    case 0xFF65:
      return true;
    default:
      return false;
  }
}

bool isHostSymbol(char32_t scalar) {
  if (scalar < 0x80 || scalar > 0x10FFFF || scalar == 0xFFFC || scalar == 0xFFFD) return false;
  return (U_GET_GC_MASK(static_cast<UChar32>(scalar)) & U_GC_S_MASK) != 0;
}

bool isInvisible(char32_t scalar) {
  if (scalar < 0x80 || scalar > 0x10FFFF) return false;
  return u_hasBinaryProperty(static_cast<UChar32>(scalar), UCHAR_DEFAULT_IGNORABLE_CODE_POINT) !=
             0 ||
         u_charType(static_cast<UChar32>(scalar)) == U_FORMAT_CHAR;
}

bool isBullet(char32_t scalar) {
  const auto within = [&](char32_t first, char32_t last) {
    return scalar >= first && scalar <= last;
  };
  return within(0x2190, 0x21FF) || within(0x25A0, 0x25FF) || within(0x27F0, 0x27FF) ||
         within(0x2900, 0x297F) || within(0x2B00, 0x2BFF) || within(0x261A, 0x261F) ||
         within(0x2794, 0x27BF) || within(0x1F446, 0x1F449) || within(0x1F4E7, 0x1F4E9) ||
         within(0x2709, 0x270F) || within(0x2713, 0x2716) || scalar == 0x1F517 ||
         scalar == 0x1F310 || scalar == 0x1F4CE || scalar == 0x2705 || scalar == 0x260E ||
         scalar == 0x1F4DE || scalar == 0xA9 || scalar == 0xFFE8;
}

bool isTrailingMark(char32_t scalar) {
  if (scalar < 0x80) {
    return scalar != 0 &&
           std::string_view(".,;:!?|^").find(static_cast<char>(scalar)) != std::string_view::npos;
  }
  if (scalar > 0x10FFFF) return false;
  return scalar == 0xB7 || scalar == 0xFF5E || scalar == 0x301C || scalar == 0x30FB ||
         u_charType(static_cast<UChar32>(scalar)) == U_DASH_PUNCTUATION;
}

bool isWideWrittenWithoutSpaces(char32_t scalar) {
  if (scalar > 0x10FFFF) return false;
  UErrorCode error = U_ZERO_ERROR;
  const UScriptCode script = uscript_getScript(static_cast<UChar32>(scalar), &error);
  return script == USCRIPT_HAN || script == USCRIPT_HIRAGANA || script == USCRIPT_KATAKANA ||
         script == USCRIPT_HANGUL || script == USCRIPT_THAI || script == USCRIPT_LAO ||
         script == USCRIPT_KHMER || script == USCRIPT_MYANMAR;
}

void appendEncoded(std::string& url, std::string_view characters) {
  bool inFragment = false;
  std::size_t done = 0;  // up to here they are added
  for (std::size_t at = 0; at < characters.size(); ++at) {
    const char c = characters[at];
    if (kAlwaysLegal.holds(c)) continue;
    bool legal = false;
    if (c == '%') {
      legal = isPercentEscape(characters, at);
    } else if (c == '#') {
      legal = !inFragment;
      inFragment = true;
    }
    if (legal) continue;
    url += characters.substr(done, at - done);
    appendPercentEscape(url, c);
    done = at + 1;
  }
  url += characters.substr(done);
}

}  // namespace korvane::links
