#include "platform/linux/LinkCharacters.h"

#include <libpsl.h>
#include <unicode/uchar.h>
#include <unicode/uidna.h>
#include <unicode/uscript.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace korvane::links {
namespace {

// A host of other scripts is longer in UTF-8 than in Punycode; no valid one exceeds this.
constexpr std::size_t maximumRawHost = 1024;
constexpr std::size_t maximumHost = 253;
constexpr std::size_t maximumLabel = 63;

std::int32_t signedLength(std::string_view text) { return static_cast<std::int32_t>(text.size()); }

const UIDNA* converter() {
  static const UIDNA* const opened = [] {
    UErrorCode error = U_ZERO_ERROR;
    const UIDNA* made =
        uidna_openUTS46(UIDNA_CHECK_BIDI | UIDNA_CHECK_CONTEXTJ | UIDNA_NONTRANSITIONAL_TO_ASCII |
                            UIDNA_NONTRANSITIONAL_TO_UNICODE | UIDNA_USE_STD3_RULES,
                        &error);
    return U_SUCCESS(error) ? made : nullptr;
  }();
  return opened;
}

bool isPlainASCII(std::string_view text) { return std::all_of(text.begin(), text.end(), isASCII); }

std::optional<std::string> punycode(std::string_view host) {
  if (converter() == nullptr || host.size() > maximumRawHost) return std::nullopt;
  std::array<char, maximumHost + 1> buffer{};
  UIDNAInfo info = UIDNA_INFO_INITIALIZER;
  UErrorCode error = U_ZERO_ERROR;
  const std::int32_t length =
      uidna_nameToASCII_UTF8(converter(), host.data(), signedLength(host), buffer.data(),
                             static_cast<std::int32_t>(buffer.size()), &info, &error);
  if (U_FAILURE(error) || info.errors != 0 || length <= 0) return std::nullopt;
  return std::string(buffer.data(), static_cast<std::size_t>(length));
}

bool isValidHost(std::string_view host) {
  if (host.size() > maximumHost) return false;
  std::size_t begin = 0;
  while (true) {
    const std::size_t end = std::min(host.find('.', begin), host.size());
    if (end == begin || end - begin > maximumLabel) return false;
    if (host[begin] == '-' || host[end - 1] == '-') return false;
    if (end == host.size()) return true;
    begin = end + 1;
  }
}

}  // namespace

Character wideCharacterAt(std::string_view text, std::size_t at) {
  // No character is longer than four bytes, and ICU counts in 32 bits.
  const std::string_view rest = text.substr(at, 4);
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(rest.data());
  std::int32_t next = 0;
  UChar32 scalar = 0;
  U8_NEXT(bytes, next, signedLength(rest), scalar);
  if (scalar < 0) return {};
  return {static_cast<char32_t>(scalar), static_cast<std::size_t>(next)};
}

Character characterBefore(std::string_view text, std::size_t at) {
  if (isASCII(text[at - 1])) return {static_cast<char32_t>(text[at - 1]), 1};
  for (std::size_t length = 2; length <= std::min<std::size_t>(4, at); ++length) {
    const Character character = characterAt(text, at - length);
    if (character.scalar != Character::invalid && character.length == length) return character;
  }
  return {};
}

std::string lowercase(std::string_view ascii) {
  std::string result(ascii);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
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

std::optional<std::string> asciiHost(std::string_view host) {
  std::optional<std::string> ascii;
  if (isPlainASCII(host)) {
    if (host.size() <= maximumHost) ascii = std::string(host);
  } else {
    ascii = punycode(host);
  }
  if (!ascii || !isValidHost(*ascii)) return std::nullopt;
  return ascii;
}

bool isTopLevelDomain(std::string_view label) {
  std::optional<std::string> ascii = asciiHost(label);
  if (!ascii || ascii->find('.') != std::string::npos) return false;
  return psl_is_public_suffix2(psl_builtin(), lowercase(*ascii).c_str(),
                               PSL_TYPE_ICANN | PSL_TYPE_NO_STAR_RULE) == 1;
}

bool isFileEnding(std::string_view label) {
  // Left out: endings of countries and services whose addresses people do write without "www."
  // (pl, mk, so, ai, app).
  constexpr std::array<std::string_view, 13> endings = {
      "cab", "cc", "java", "md", "mov", "pm", "properties", "ps", "pub", "py", "rs", "sh", "zip"};
  return std::find(endings.begin(), endings.end(), lowercase(label)) != endings.end();
}

}  // namespace korvane::links
