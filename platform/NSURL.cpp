#include "platform/NSURL.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/NSString.h"
#include "platform/Platform.h"

namespace korvane {
namespace {

constexpr std::size_t npos = std::string_view::npos;

// What a byte means to the parser.
enum : std::uint8_t {
  kIllegal = 1,
  kPercent = 2,
  kBracket = 4,
  kHash = 8,
  kQuestion = 16,
  kSlash = 32,
  kSchemeCharacter = 64,
  kHexDigit = 128,
};

constexpr std::array<std::uint8_t, 256> kClasses = [] {
  std::array<std::uint8_t, 256> classes{};
  const auto add = [&](std::string_view characters, std::uint8_t bits) {
    for (const char c : characters) classes[static_cast<unsigned char>(c)] |= bits;
  };
  for (std::size_t c = 0; c < 256; ++c) {
    if (c <= ' ' || c >= 0x7F) classes[c] = kIllegal;
  }
  add("\"<>\\^`{|}", kIllegal);
  add("%", kPercent);
  add("[]", kBracket);
  add("#", kHash);
  add("?", kQuestion);
  add("/", kSlash);
  add("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-.", kSchemeCharacter);
  add("0123456789abcdefABCDEF", kHexDigit);
  return classes;
}();

std::uint8_t classOf(char c) { return kClasses[static_cast<unsigned char>(c)]; }

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// Position of the ":" that ends the scheme, 0 without one (RFC 3986, section 3.1).
std::size_t findSchemeEnd(std::string_view text) {
  if (text.empty() || !isLetter(text[0])) return 0;
  std::size_t at = 1;
  while (at < text.size() && (classOf(text[at]) & kSchemeCharacter) != 0) ++at;
  return at < text.size() && text[at] == ':' ? at : 0;
}

// The first position from `at` on whose byte is of one of the classes, after checking the escapes
// on the way; the size when there is none, npos after an illegal byte.
std::size_t findEnd(std::string_view text, std::size_t at, std::uint8_t endClasses) {
  const std::uint8_t stops = endClasses | kIllegal | kPercent;
  for (; at < text.size(); ++at) {
    const std::uint8_t bits = classOf(text[at]) & stops;
    if (bits == 0) continue;
    if ((bits & endClasses) != 0) return at;
    if ((bits & kIllegal) != 0 || text.size() - at < 3 ||
        (classOf(text[at + 1]) & classOf(text[at + 2]) & kHexDigit) == 0) {
      return npos;
    }
    at += 2;
  }
  return at;
}

// The text with the characters escaped that may stand in it but not where they stand: square
// brackets that do not begin or end a host, and "#" in a URL that has no parts.
std::string escapeMisplaced(std::string_view text) {
  const std::size_t schemeEnd = findSchemeEnd(text);
  const std::size_t begin = schemeEnd == 0 ? 0 : schemeEnd + 1;
  const bool opaque = schemeEnd != 0 && !text.substr(begin).starts_with('/');
  std::size_t hostBegin = 0;
  std::size_t authorityEnd = 0;
  if (text.substr(begin).starts_with("//")) {
    hostBegin = begin + 2;
    authorityEnd = std::min(text.find_first_of("/?#", hostBegin), text.size());
    const std::size_t at = text.substr(0, authorityEnd).find('@', hostBegin);
    if (at != npos) hostBegin = at + 1;
  }
  const auto belongs = [&](std::size_t at) {
    if (at < hostBegin || at >= authorityEnd) return false;
    if (text[at] == '[') return at == hostBegin;
    return at + 1 == authorityEnd || text[at + 1] == ':';
  };
  std::string result;
  result.reserve(text.size() + 16);
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '#' && opaque) {
      result += "%23";
    } else if ((c == '[' || c == ']') && !belongs(at)) {
      result += c == '[' ? "%5B" : "%5D";
    } else {
      result += c;
    }
  }
  return result;
}

// Percent-encodes what cannot stand in a path, and what would end one: ";", "?", "#". In the first
// segment of a relative path a ":" would make a scheme of what precedes it.
constexpr std::string_view kEscapedInPath = ";";
constexpr std::string_view kEscapedInFirstSegment = ";:";
std::string encodedPath(std::string_view path, std::string_view escaped = kEscapedInPath) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  constexpr std::uint8_t kEscaped = kIllegal | kPercent | kBracket | kHash | kQuestion;
  std::string result;
  result.reserve(path.size() + 16);
  for (const char c : path) {
    if ((classOf(c) & kEscaped) != 0 || escaped.find(c) != npos) {
      const auto byte = static_cast<unsigned char>(c);
      result += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    } else {
      result += c;
    }
  }
  return result;
}

std::string decoded(std::string_view text) {
  return bytesByReplacingPercentEscapes(text).value_or(std::string());  // escapes were checked
}

std::optional<std::string> decodedText(std::string_view text) {
  return stringByReplacingPercentEscapes(text);
}

// Takes a trailing "/" away; of several, all but one.
void dropTrailingSlash(std::string& path) {
  const std::size_t last = path.find_last_not_of('/');
  const std::size_t kept = last == npos ? 0 : last + 1;
  const std::size_t slashes = path.size() - kept;
  if (slashes == 0 || path.size() == 1) return;
  path.resize(slashes == 1 ? kept : kept + 1);
}

// The path that a relative one leads to, `base` being a path up to its last "/": segments "." go,
// and a segment goes together with a ".." that follows it.
std::string resolvedPath(std::string_view base, std::string_view relative) {
  std::string merged(base);
  merged += relative;
  std::string result;
  result.reserve(merged.size());
  std::string_view rest = merged;
  if (rest.starts_with('/')) {
    result = "/";
    rest.remove_prefix(1);
  }
  std::size_t fixed = result.size();  // no ".." takes away what stands before
  for (bool last = false; !last;) {
    const std::size_t slash = rest.find('/');
    last = slash == npos;
    const std::string_view segment = rest.substr(0, slash);
    if (segment == ".." && result.size() > fixed) {
      const std::size_t before = result.size() < 2 ? npos : result.rfind('/', result.size() - 2);
      result.resize(before == npos ? fixed : std::max(fixed, before + 1));
    } else if (segment != ".") {
      result += segment;
      if (!last) result += '/';
      if (segment == "..") fixed = result.size();
    }
    if (!last) rest.remove_prefix(slash + 1);
  }
  return result;
}

}  // namespace

struct NSURL::Authority {
  std::optional<std::string_view> user, password, port;
  std::string_view host;
};

bool NSURL::isOpaque() const noexcept {
  return schemeEnd_ != 0 && !(schemeEnd_ + 1 < text_.size() && text_[schemeEnd_ + 1] == '/');
}

bool NSURL::hasAuthority() const noexcept { return !isOpaque() && pathBegin_ > hierarchyBegin(); }

std::string_view NSURL::authority() const {
  if (!hasAuthority()) return {};
  const std::size_t begin = hierarchyBegin() + 2;
  return std::string_view(text_).substr(begin, pathBegin_ - begin);
}

std::string_view NSURL::rawPath() const {
  return std::string_view(text_).substr(pathBegin_, pathEnd_ - pathBegin_);
}

bool NSURL::locateParts() {
  schemeEnd_ = findSchemeEnd(text_);
  std::size_t at = hierarchyBegin();
  bool misplaced = false;
  // As findEnd, but steps over brackets and remembers that there were some.
  const auto find = [&](std::uint8_t ends) {
    for (;;) {
      at = findEnd(text_, at, ends | kBracket);
      if (at >= text_.size() || (classOf(text_[at]) & kBracket) == 0) return;
      misplaced = true;
      ++at;
    }
  };
  if (isOpaque()) {
    for (;;) {
      find(kHash);
      if (at == npos) return false;
      if (at == text_.size()) break;
      misplaced = true;
      ++at;
    }
    pathBegin_ = pathEnd_ = queryEnd_ = text_.size();
  } else {
    if (std::string_view(text_).substr(at).starts_with("//")) {
      at += 2;
      find(kSlash | kQuestion | kHash);
      if (at == npos) return false;
    }
    pathBegin_ = at;
    find(kQuestion | kHash);
    if (at == npos) return false;
    pathEnd_ = at;
    find(kHash);
    if (at == npos) return false;
    queryEnd_ = at;
    if (at < text_.size()) {
      ++at;
      find(kHash);
      if (at != text_.size()) return false;
    }
  }
  if (!misplaced) return true;
  std::string escaped = escapeMisplaced(text_);
  if (escaped == text_) return true;  // the brackets of an IP address
  text_ = std::move(escaped);
  return locateParts();
}

NSURL NSURL::fromValidText(std::string text) {
  NSURL url;
  url.text_ = std::move(text);
  url.locateParts();
  return url;
}

std::optional<NSURL> NSURL::URLWithString(std::string_view text) {
  std::optional<NSURL> url = NSURL();
  url->text_ = text;
  if (!url->locateParts()) url.reset();
  return url;
}

std::optional<NSURL> NSURL::URLWithString(std::string_view text, const NSURL& base) {
  std::optional<NSURL> url = URLWithString(text);
  if (!url || url->schemeEnd_ != 0) return url;
  if (base.isOpaque()) return std::nullopt;

  const std::string_view baseText = base.text_;
  const std::string_view given = url->text_;
  const std::string_view path = url->rawPath();
  std::string result;
  result.reserve(baseText.size() + given.size() + 1);
  if (url->hasAuthority()) {
    result += baseText.substr(0, base.hierarchyBegin());
    result += given;
  } else if (path.empty() && url->queryEnd_ == url->pathEnd_) {
    result += baseText.substr(0, base.queryEnd_);
    result += given;
  } else if (path.empty()) {
    result += baseText.substr(0, base.pathEnd_);
    result += given;
  } else {
    result += baseText.substr(0, base.pathBegin_);
    const std::string_view basePath = base.rawPath();
    if (path.starts_with('/')) {
      result += path;
    } else if (basePath.empty()) {
      if (base.hasAuthority()) result += '/';
      result += path;
    } else {
      const std::string resolved = resolvedPath(basePath.substr(0, basePath.rfind('/') + 1), path);
      // What is left after ".." must not be taken for a host or a scheme.
      if (!base.hasAuthority() && resolved.starts_with("//")) result += "/.";
      if (base.hierarchyBegin() == 0 && findSchemeEnd(resolved) != 0) result += "./";
      result += resolved;
    }
    result += given.substr(url->pathEnd_);
  }
  return fromValidText(std::move(result));
}

NSURL NSURL::fileURLWithPath(std::string_view path) {
  std::string absolute;
  if (!path.starts_with('/')) {
    std::error_code failure;
    absolute = std::filesystem::current_path(failure).native();
    if (!absolute.ends_with('/')) absolute += '/';
  }
  absolute += path;
  if (!absolute.ends_with('/') &&
      Platform::current()->fileManager->directoryExistsAtPath(absolute)) {
    absolute += '/';
  }
  return fromValidText("file://" + encodedPath(absolute));
}

NSURL::Authority NSURL::authorityParts() const {
  Authority parts;
  std::string_view rest = authority();
  if (const std::size_t at = rest.find('@'); at != npos) {
    parts.user = rest.substr(0, at);
    rest.remove_prefix(at + 1);
    if (const std::size_t colon = parts.user->find(':'); colon != npos) {
      parts.password = parts.user->substr(colon + 1);
      parts.user = parts.user->substr(0, colon);
    }
  }
  // The colons of an IPv6 address stand between brackets.
  const std::size_t bracket = rest.starts_with('[') ? rest.find(']') : npos;
  const std::size_t colon = rest.find(':', bracket == npos ? 0 : bracket);
  if (colon != npos) parts.port = rest.substr(colon + 1);
  parts.host = bracket == npos ? rest.substr(0, colon) : rest.substr(1, bracket - 1);
  return parts;
}

std::optional<std::string> NSURL::scheme() const {
  if (schemeEnd_ == 0) return std::nullopt;
  return text_.substr(0, schemeEnd_);
}

std::optional<std::string> NSURL::host() const {
  if (authority().empty()) return std::nullopt;
  return decodedText(authorityParts().host);
}

std::optional<std::int64_t> NSURL::port() const {
  const std::optional<std::string_view> port = authorityParts().port;
  if (!port || port->empty() || port->find_first_not_of("0123456789") != npos) return std::nullopt;
  return integerValue(*port);
}

std::optional<std::string> NSURL::user() const {
  const Authority parts = authorityParts();
  if (!parts.user) return std::nullopt;
  return decodedText(*parts.user);
}

std::optional<std::string> NSURL::password() const {
  const Authority parts = authorityParts();
  if (!parts.password) return std::nullopt;
  return std::string(*parts.password);
}

std::optional<std::string> NSURL::path() const {
  // Without a host only a text before the path, or a ";" after it, makes an empty path present.
  if (isOpaque() || (rawPath().empty() && !hasAuthority())) return std::nullopt;
  const std::string_view raw = rawPath();
  std::optional<std::string> path = decodedText(raw.substr(0, raw.find(';')));
  if (path) dropTrailingSlash(*path);
  return path;
}

std::optional<std::string> NSURL::parameterString() const {
  const std::string_view raw = rawPath();
  const std::size_t semicolon = raw.find(';');
  if (semicolon == npos) return std::nullopt;
  return std::string(raw.substr(semicolon + 1));
}

std::optional<std::string> NSURL::query() const {
  if (queryEnd_ == pathEnd_) return std::nullopt;
  return text_.substr(pathEnd_ + 1, queryEnd_ - pathEnd_ - 1);
}

std::optional<std::string> NSURL::fragment() const {
  if (queryEnd_ == text_.size()) return std::nullopt;
  return text_.substr(queryEnd_ + 1);
}

bool NSURL::isFileURL() const {
  if (schemeEnd_ != 4) return false;
  static constexpr std::string_view kFile = "file";
  return std::equal(kFile.begin(), kFile.end(), text_.begin(),
                    [](char a, char b) { return a == (b | 0x20); });
}

std::string NSURL::fileSystemRepresentation() const {
  std::string path = decoded(rawPath());
  dropTrailingSlash(path);
  return path;
}

NSURL NSURL::URLByAppendingPathComponent(std::string_view component) const {
  if (isOpaque()) return *this;
  const std::string_view raw = rawPath();
  const std::string_view path = raw.substr(0, raw.find(';'));
  const std::size_t last = path.find_last_not_of('/');
  const std::size_t kept = last == npos ? 0 : last + 1;
  const bool slash = !path.empty() || hasAuthority() || component.starts_with('/');
  component.remove_prefix(std::min(component.find_first_not_of('/'), component.size()));

  std::string text = text_.substr(0, pathBegin_ + kept);
  if (slash) text += '/';
  text += encodedPath(component, slash ? kEscapedInPath : kEscapedInFirstSegment);
  text.append(text_, pathBegin_ + path.size());
  return fromValidText(std::move(text));
}

NSURL NSURL::URLByAppendingPathExtension(std::string_view extension) const {
  const std::string_view raw = rawPath();
  const std::string_view path = raw.substr(0, raw.find(';'));
  const std::size_t last = path.find_last_not_of('/');
  if (last == npos || extension.empty() || extension.starts_with('/')) return *this;
  std::string text = text_;
  text.insert(pathBegin_ + last + 1, "." + encodedPath(extension, kEscapedInFirstSegment));
  return fromValidText(std::move(text));
}

}  // namespace korvane
