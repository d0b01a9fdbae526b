#include "formats/html/HTMLCharacters.h"

#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

#include "text/ASCII.h"
#include "text/UTF8.h"
#include "text/Windows1252.h"

namespace korvane {
namespace {

struct Entity {
  std::string_view name;
  std::uint32_t code;
};

// Sorted by name.
// clang-format off
constexpr std::array<Entity, 253> kEntities = {{
    {"AElig", 198}, {"Aacute", 193}, {"Acirc", 194}, {"Agrave", 192}, {"Alpha", 913},
    {"Aring", 197}, {"Atilde", 195}, {"Auml", 196}, {"Beta", 914}, {"Ccedil", 199}, {"Chi", 935},
    {"Dagger", 8225}, {"Delta", 916}, {"ETH", 208}, {"Eacute", 201}, {"Ecirc", 202},
    {"Egrave", 200}, {"Epsilon", 917}, {"Eta", 919}, {"Euml", 203}, {"Gamma", 915}, {"Iacute", 205},
    {"Icirc", 206}, {"Igrave", 204}, {"Iota", 921}, {"Iuml", 207}, {"Kappa", 922}, {"Lambda", 923},
    {"Mu", 924}, {"Ntilde", 209}, {"Nu", 925}, {"OElig", 338}, {"Oacute", 211}, {"Ocirc", 212},
    {"Ograve", 210}, {"Omega", 937}, {"Omicron", 927}, {"Oslash", 216}, {"Otilde", 213},
    {"Ouml", 214}, {"Phi", 934}, {"Pi", 928}, {"Prime", 8243}, {"Psi", 936}, {"Rho", 929},
    {"Scaron", 352}, {"Sigma", 931}, {"THORN", 222}, {"Tau", 932}, {"Theta", 920}, {"Uacute", 218},
    {"Ucirc", 219}, {"Ugrave", 217}, {"Upsilon", 933}, {"Uuml", 220}, {"Xi", 926}, {"Yacute", 221},
    {"Yuml", 376}, {"Zeta", 918}, {"aacute", 225}, {"acirc", 226}, {"acute", 180}, {"aelig", 230},
    {"agrave", 224}, {"alefsym", 8501}, {"alpha", 945}, {"amp", 38}, {"and", 8743}, {"ang", 8736},
    {"apos", 39}, {"aring", 229}, {"asymp", 8776}, {"atilde", 227}, {"auml", 228}, {"bdquo", 8222},
    {"beta", 946}, {"brvbar", 166}, {"bull", 8226}, {"cap", 8745}, {"ccedil", 231}, {"cedil", 184},
    {"cent", 162}, {"chi", 967}, {"circ", 710}, {"clubs", 9827}, {"cong", 8773}, {"copy", 169},
    {"crarr", 8629}, {"cup", 8746}, {"curren", 164}, {"dArr", 8659}, {"dagger", 8224},
    {"darr", 8595}, {"deg", 176}, {"delta", 948}, {"diams", 9830}, {"divide", 247}, {"eacute", 233},
    {"ecirc", 234}, {"egrave", 232}, {"empty", 8709}, {"emsp", 8195}, {"ensp", 8194},
    {"epsilon", 949}, {"equiv", 8801}, {"eta", 951}, {"eth", 240}, {"euml", 235}, {"euro", 8364},
    {"exist", 8707}, {"fnof", 402}, {"forall", 8704}, {"frac12", 189}, {"frac14", 188},
    {"frac34", 190}, {"frasl", 8260}, {"gamma", 947}, {"ge", 8805}, {"gt", 62}, {"hArr", 8660},
    {"harr", 8596}, {"hearts", 9829}, {"hellip", 8230}, {"iacute", 237}, {"icirc", 238},
    {"iexcl", 161}, {"igrave", 236}, {"image", 8465}, {"infin", 8734}, {"int", 8747}, {"iota", 953},
    {"iquest", 191}, {"isin", 8712}, {"iuml", 239}, {"kappa", 954}, {"lArr", 8656}, {"lambda", 955},
    {"lang", 9001}, {"laquo", 171}, {"larr", 8592}, {"lceil", 8968}, {"ldquo", 8220}, {"le", 8804},
    {"lfloor", 8970}, {"lowast", 8727}, {"loz", 9674}, {"lrm", 8206}, {"lsaquo", 8249},
    {"lsquo", 8216}, {"lt", 60}, {"macr", 175}, {"mdash", 8212}, {"micro", 181}, {"middot", 183},
    {"minus", 8722}, {"mu", 956}, {"nabla", 8711}, {"nbsp", 160}, {"ndash", 8211}, {"ne", 8800},
    {"ni", 8715}, {"not", 172}, {"notin", 8713}, {"nsub", 8836}, {"ntilde", 241}, {"nu", 957},
    {"oacute", 243}, {"ocirc", 244}, {"oelig", 339}, {"ograve", 242}, {"oline", 8254},
    {"omega", 969}, {"omicron", 959}, {"oplus", 8853}, {"or", 8744}, {"ordf", 170}, {"ordm", 186},
    {"oslash", 248}, {"otilde", 245}, {"otimes", 8855}, {"ouml", 246}, {"para", 182},
    {"part", 8706}, {"permil", 8240}, {"perp", 8869}, {"phi", 966}, {"pi", 960}, {"piv", 982},
    {"plusmn", 177}, {"pound", 163}, {"prime", 8242}, {"prod", 8719}, {"prop", 8733}, {"psi", 968},
    {"quot", 34}, {"rArr", 8658}, {"radic", 8730}, {"rang", 9002}, {"raquo", 187}, {"rarr", 8594},
    {"rceil", 8969}, {"rdquo", 8221}, {"real", 8476}, {"reg", 174}, {"rfloor", 8971}, {"rho", 961},
    {"rlm", 8207}, {"rsaquo", 8250}, {"rsquo", 8217}, {"sbquo", 8218}, {"scaron", 353},
    {"sdot", 8901}, {"sect", 167}, {"shy", 173}, {"sigma", 963}, {"sigmaf", 962}, {"sim", 8764},
    {"spades", 9824}, {"sub", 8834}, {"sube", 8838}, {"sum", 8721}, {"sup", 8835}, {"sup1", 185},
    {"sup2", 178}, {"sup3", 179}, {"supe", 8839}, {"szlig", 223}, {"tau", 964}, {"there4", 8756},
    {"theta", 952}, {"thetasym", 977}, {"thinsp", 8201}, {"thorn", 254}, {"tilde", 732},
    {"times", 215}, {"trade", 8482}, {"uArr", 8657}, {"uacute", 250}, {"uarr", 8593},
    {"ucirc", 251}, {"ugrave", 249}, {"uml", 168}, {"upsih", 978}, {"upsilon", 965}, {"uuml", 252},
    {"weierp", 8472}, {"xi", 958}, {"yacute", 253}, {"yen", 165}, {"yuml", 255}, {"zeta", 950},
    {"zwj", 8205}, {"zwnj", 8204},
}};
// clang-format on

struct Reference {
  std::uint32_t code;
  std::size_t length;  // from the "&" on
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
  constexpr std::size_t kMaxName = 8;
  std::size_t end = 1;
  while (end < text.size() && end <= kMaxName + 1 && (isAlphanumeric(text[end]))) {
    ++end;
  }
  const bool closed = end < text.size() && text[end] == ';';
  // Names of Latin 1 also count without their semicolon, and then the longest that fits does.
  for (std::size_t stop = end; stop > 1; --stop) {
    const std::string_view name = text.substr(1, stop - 1);
    const auto* found =
        std::lower_bound(kEntities.begin(), kEntities.end(), name,
                         [](const Entity& entity, std::string_view n) { return entity.name < n; });
    if (found == kEntities.end() || found->name != name) continue;
    if (stop == end && closed) return Reference{found->code, end + 1};
    if (found->code > 0xFF || found->code == '\'') continue;
    const char next = stop < text.size() ? text[stop] : '\0';
    // "?a=1&copy=2" in a link is no sign.
    if (place == HTMLPlace::attribute && (next == '=' || isAlphanumeric(next))) {
      return std::nullopt;
    }
    return Reference{found->code, stop};
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
  const std::size_t looked = std::min<std::size_t>(bytes.size(), 512) / 2 * 2;
  std::array<std::size_t, 2> zeros{};
  for (std::size_t i = 0; i < looked; ++i) zeros[i % 2] += bytes[i] == '\0' ? 1 : 0;
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
      at += reference->length;
    } else {
      out += '&';
      ++at;
    }
  }
  return out;
}

std::string withoutControlCharacters(std::string_view text) {
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
