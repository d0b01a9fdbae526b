#include "formats/links/WordLinks.h"

#include <algorithm>

#include "formats/links/LinkCharacters.h"

namespace korvane::links {
namespace {

constexpr std::size_t kMinToken = 20;

// Where the first of some characters stands, the size where none does.
std::size_t findFirst(std::string_view text, std::string_view characters) {
  return std::min(text.find_first_of(characters), text.size());
}

bool beginsWord(std::string_view text) {
  return !text.empty() && (isAlphanumeric(text[0]) || !isASCII(text[0]));
}

// Not an address in brackets, which a URL can hold behind "//" alone.
// "node@a.example/resource", "a.example:5060;transport=tcp", "+15105550101;user=phone".
bool isAddress(std::string_view rest) {
  const std::string_view name = rest.substr(0, findFirst(rest, "?/"));
  if (const std::size_t at = name.find('@'); at != std::string_view::npos) {
    const std::string_view host = name.substr(at + 1);
    return at > 0 && beginsWord(host) && host.find('@') == std::string_view::npos;
  }
  if (name.starts_with('+')) return name.size() > 1 && isDigit(name[1]);
  const std::size_t dot = name.find('.');
  return beginsWord(name) && dot != std::string_view::npos && beginsWord(name.substr(dot + 1));
}

bool isWebAddress(std::string_view rest) {
  const std::string_view scheme = rest.substr(0, findFirst(rest, ":"));
  const LinkScheme* known = findLinkScheme(scheme);
  return known != nullptr && known->form == LinkForm::web &&
         rest.substr(scheme.size()).starts_with("://") &&
         beginsWord(rest.substr(scheme.size() + 3));
}

bool isMessageId(std::string_view rest) {
  const std::size_t at = rest.find('@');
  return at != std::string_view::npos && at > 0 && beginsWord(rest.substr(at + 1)) &&
         isAlphanumeric(rest[0]);
}

bool isNumber(std::string_view rest) {
  if (rest.starts_with('+')) rest.remove_prefix(1);
  if (rest.starts_with('(')) rest.remove_prefix(1);
  return !rest.empty() && (isDigit(rest[0]) || rest[0] == '*');
}

bool isCoordinate(std::string_view number) {
  if (number.starts_with('-') || number.starts_with('+')) number.remove_prefix(1);
  const std::size_t dot = findFirst(number, ".");
  const auto digits = [](std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
  };
  return digits(number.substr(0, dot)) && (dot == number.size() || digits(number.substr(dot + 1)));
}

bool areCoordinates(std::string_view rest) {
  const std::string_view place = rest.substr(0, findFirst(rest, ";?"));
  const std::size_t comma = place.find(',');
  if (comma == std::string_view::npos) return false;
  const std::string_view others = place.substr(comma + 1);
  const std::size_t second = findFirst(others, ",");
  return isCoordinate(place.substr(0, comma)) && isCoordinate(others.substr(0, second)) &&
         (second == others.size() || isCoordinate(others.substr(second + 1)));
}

bool isTyped(std::string_view rest) {
  const std::size_t slash = rest.find('/');
  return slash != std::string_view::npos && slash > 0 && beginsWord(rest.substr(slash + 1)) &&
         std::all_of(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(slash), isLetter);
}

bool isToken(std::string_view rest) {
  const std::string_view token = rest.substr(0, findFirst(rest, "?:@/"));
  return token.size() >= kMinToken && std::all_of(token.begin(), token.end(), isAlphanumeric);
}

}  // namespace

bool hasForm(LinkForm form, std::string_view rest) {
  switch (form) {
    case LinkForm::address:
      return isAddress(rest) || isWebAddress(rest);
    case LinkForm::messageId:
      return isMessageId(rest);
    case LinkForm::number:
      return isNumber(rest);
    case LinkForm::numbers:
      return isNumber(rest) || (rest.starts_with('?') && rest.find('=') != std::string_view::npos);
    case LinkForm::coordinates:
      return areCoordinates(rest);
    case LinkForm::group:
      return beginsWord(rest) && rest.find_first_of(".@") != std::string_view::npos;
    case LinkForm::query:
      return rest.starts_with('?') && rest.find('=') != std::string_view::npos;
    case LinkForm::typed:
      return isTyped(rest);
    case LinkForm::token:
      return isToken(rest);
    case LinkForm::name:
      return (beginsWord(rest) || rest.starts_with('+')) && rest.size() >= 3;
    case LinkForm::web:
    case LinkForm::hierarchy:
    case LinkForm::mail:
    case LinkForm::none:
      return false;
  }
  return false;
}

}  // namespace korvane::links
