#include "formats/links/LinkCharacters.h"

#include <unicode/uchar.h>
#include <unicode/uscript.h>

#include <algorithm>
#include <cstdint>

#include "text/PercentEscapes.h"
#include "text/UTF8.h"

namespace korvane::links {

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
  const auto c = static_cast<UChar32>(scalar);
  constexpr std::uint32_t wanted =
      U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK | U_GC_S_MASK | U_GC_PD_MASK | U_GC_PC_MASK;
  return (U_GET_GC_MASK(c) & wanted) != 0 &&
         !u_hasBinaryProperty(c, UCHAR_DEFAULT_IGNORABLE_CODE_POINT);
}

bool isWrittenWithoutSpaces(char32_t scalar) {
  if (scalar < 0x80 || scalar > 0x10FFFF) return false;
  UErrorCode error = U_ZERO_ERROR;
  const UScriptCode script = uscript_getScript(static_cast<UChar32>(scalar), &error);
  return script == USCRIPT_HAN || script == USCRIPT_HIRAGANA || script == USCRIPT_KATAKANA ||
         script == USCRIPT_HANGUL || script == USCRIPT_THAI || script == USCRIPT_LAO ||
         script == USCRIPT_KHMER || script == USCRIPT_MYANMAR;
}

void appendEncoded(std::string& url, std::string_view characters) {
  bool inFragment = false;
  for (std::size_t at = 0; at < characters.size(); ++at) {
    const char c = characters[at];
    bool legal = isASCII(c) && c != '{' && c != '}';
    if (c == '%') {
      legal = isPercentEscape(characters, at);
    } else if (c == '#') {
      legal = !inFragment;
      inFragment = true;
    }
    if (legal) {
      url += c;
    } else {
      appendPercentEscape(url, c);
    }
  }
}

}  // namespace korvane::links
