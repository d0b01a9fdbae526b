#include "platform/NSURL.h"

#include <algorithm>
#include <utility>

#include "platform/NSString.h"
#include "text/URLCharacters.h"

namespace korvane {
namespace {

using namespace urlcharacters;

constexpr std::size_t npos = std::string_view::npos;

std::string decoded(std::string_view text) {
  return bytesByReplacingPercentEscapes(text).value_or(std::string());  // escapes were checked
}

std::optional<std::string> decodedText(std::string_view text) {
  if (text.find('%') == npos) return std::string(text);  // ASCII as it is
  return stringByReplacingPercentEscapes(text);
}

// The path without the "/" at its end, unless it is nothing else.
std::string_view withoutSlash(std::string_view path) {
  if (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path;
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
  return hasScheme() && !(hierarchyBegin_ < text_.size() && text_[hierarchyBegin_] == '/');
}

bool NSURL::hasSlashesBeforeAuthority() const noexcept {
  return !isOpaque() && pathBegin_ > hierarchyBegin_;
}

std::string_view NSURL::authority() const {
  if (!hasSlashesBeforeAuthority()) return {};
  const std::size_t begin = hierarchyBegin_ + 2;
  return std::string_view(text_).substr(begin, pathBegin_ - begin);
}

std::string_view NSURL::rawPath() const {
  return std::string_view(text_).substr(pathBegin_, pathEnd_ - pathBegin_);
}

bool NSURL::locateParts() {
  hierarchyBegin_ = findHierarchy(text_);
  std::size_t at = hierarchyBegin_;
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
    find(kHash);
    if (at == npos) return false;
    if (at < text_.size()) {
      misplaced = true;
      ++at;
      find(kHash);
      if (at != text_.size()) return false;
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
  if (!url || url->hierarchyBegin_ > 1) return url;
  if (text.empty() || url->isOpaque()) return base;
  if (url->hasScheme()) url = URLWithString(text.substr(1));

  const std::string_view given = url->text_;
  const std::string_view path = url->rawPath();
  const std::string_view basePath = base.rawPath();
  const std::string_view authority = url->authority();
  std::string result;
  result.reserve(base.text_.size() + given.size() + 3);
  result.append(base.text_, 0, base.hierarchyBegin_);
  result += "//";
  result += authority.empty() ? base.authority() : authority;
  if (!authority.empty() || path.starts_with('/')) {
    result += path;
  } else if (path.empty()) {
    result += basePath;
    // A query of the text's own replaces the base's.
    if (url->queryEnd_ == url->pathEnd_) {
      result.append(base.text_, base.pathEnd_, base.queryEnd_ - base.pathEnd_);
    }
  } else if (basePath.empty()) {
    result += '/';
    result += path;
  } else {
    result += resolvedPath(basePath.substr(0, basePath.rfind('/') + 1), path);
  }
  result += given.substr(url->pathEnd_);
  return fromValidText(std::move(result));
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
  if (!hasScheme()) return std::nullopt;
  return text_.substr(0, hierarchyBegin_ - 1);
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
  // An empty path is there only where something stands before it or a ";" behind it.
  const std::string_view raw = rawPath();
  if (raw.empty() && authority().empty()) return std::nullopt;
  const std::string_view path = withoutSlash(raw.substr(0, raw.find(';')));
  if (path.find('%') == npos) return std::string(path);  // ASCII as it is
  std::optional<std::string> decoded = stringByReplacingPercentEscapes(path);
  if (decoded) decoded->resize(withoutSlash(*decoded).size());
  return decoded;
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
  if (hierarchyBegin_ != 5) return false;
  static constexpr std::string_view kFile = "file";
  return std::equal(kFile.begin(), kFile.end(), text_.begin(),
                    [](char a, char b) { return a == (b | 0x20); });
}

std::string NSURL::fileSystemRepresentation() const {
  std::string path = decoded(rawPath());
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

NSURL NSURL::URLByAppendingPathComponent(std::string_view component) const {
  if (isOpaque()) return *this;
  const std::string_view raw = rawPath();
  const std::string_view path = raw.substr(0, raw.find(';'));
  const std::size_t last = path.find_last_not_of('/');
  const std::size_t kept = last == npos ? 0 : last + 1;
  const bool slash = !path.empty() || hasSlashesBeforeAuthority() || component.starts_with('/');
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
