#include "formats/html/HTMLLinks.h"

#include <algorithm>
#include <vector>

#include "text/ASCII.h"

namespace korvane {
namespace {

constexpr std::size_t kMaxBase = 4096;  // every relative link repeats it

bool hasScheme(std::string_view link) {
  if (link.empty() || !isLetter(link.front())) return false;
  for (const char c : link) {
    if (c == ':') return true;
    if (!isAlphanumeric(c) && c != '+' && c != '-' && c != '.') return false;
  }
  return false;
}

std::string withoutSpaces(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (c == ' ') {
      out += "%20";
    } else {
      out += c;
    }
  }
  return out;
}

// A path without its "." and ".." parts.
std::string withoutDots(std::string_view path) {
  std::vector<std::string_view> parts;
  bool endsInFolder = false;
  while (!path.empty()) {
    path.remove_prefix(1);  // the "/"
    const std::size_t end = std::min(path.find('/'), path.size());
    const std::string_view part = path.substr(0, end);
    path.remove_prefix(end);
    const std::string lower = lowercase(part.substr(0, 6));
    const bool up = part == ".." || lower == ".%2e" || lower == "%2e." || lower == "%2e%2e";
    const bool here = part == "." || (part.size() == 3 && lower == "%2e");
    endsInFolder = up || here;
    if (up && !parts.empty()) parts.pop_back();
    if (!up && !here) parts.push_back(part);
  }
  std::string out;
  for (const std::string_view part : parts) {
    out += '/';
    out += part;
  }
  if (endsInFolder || out.empty()) out += '/';
  return out;
}

}  // namespace

std::string cleanedLink(std::string link) {
  std::erase_if(link, [](char c) { return c == '\t' || c == '\n' || c == '\r' || c == '\0'; });
  const auto visible = [](char c) { return static_cast<unsigned char>(c) > 0x20; };
  link.erase(std::find_if(link.rbegin(), link.rend(), visible).base(), link.end());
  link.erase(link.begin(), std::find_if(link.begin(), link.end(), visible));
  return link;
}

bool isLinkBase(std::string_view address) {
  if (address.size() > kMaxBase) return false;
  const std::string start = lowercase(address.substr(0, 8));
  const std::size_t host = start.starts_with("http://") ? 7 : start == "https://" ? 8 : 0;
  if (host == 0 || host >= address.size()) return false;
  const char first = address[host];
  const bool hasSpace = std::any_of(address.begin(), address.end(),
                                    [](char c) { return static_cast<unsigned char>(c) <= 0x20; });
  return !hasSpace && first != '/' && first != '?' && first != '#' && first != '\\';
}

std::string resolvedLink(std::string_view link, std::string_view base) {
  if (hasScheme(link)) return std::string(link);
  if (!isLinkBase(base)) return {};
  base = base.substr(0, base.find('#'));
  const std::size_t scheme = base.find(':') + 1;
  const std::size_t query = std::min(base.find('?'), base.size());
  const std::size_t host = scheme + 2;
  const std::size_t path = std::min(base.find('/', host), query);
  const std::string_view origin = base.substr(0, path);

  // Browsers take "\" for "/" in the addresses of pages.
  const std::size_t end = std::min(link.find_first_of("?#"), link.size());
  std::string linkPath(link.substr(0, end));
  std::replace(linkPath.begin(), linkPath.end(), '\\', '/');
  const std::string tail = withoutSpaces(link.substr(end));
  if (linkPath.starts_with("//")) {
    std::string whole = std::string(base.substr(0, scheme)) + withoutSpaces(linkPath) + tail;
    return isLinkBase(whole) ? whole : std::string();
  }
  if (linkPath.empty()) {
    const std::string_view page = base.substr(0, tail.starts_with('?') ? query : base.size());
    return std::string(page) + tail;
  }
  if (!linkPath.starts_with('/')) {
    const std::string_view folder = base.substr(path, query - path);
    const std::size_t slash = folder.rfind('/');
    linkPath.insert(0, slash == folder.npos ? "/" : folder.substr(0, slash + 1));
  }
  return std::string(origin) + withoutSpaces(withoutDots(linkPath)) + tail;
}

}  // namespace korvane
