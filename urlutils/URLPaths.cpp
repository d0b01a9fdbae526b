#include "platform/NSString.h"
#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {
namespace {

constexpr std::size_t npos = std::string_view::npos;

// A text in its three parts, so that the first can be edited and the others put back.
struct Split {
  explicit Split(std::string_view subject) {
    fragment = URLFragment(subject);
    path = stringByDeletingURLFragment(subject);
    query = URLQuery(path);
    path = stringByDeletingURLQuery(path);
  }
  std::string joined() const {
    return stringByAppendingURLFragment(stringByAppendingURLQuery(path, query), fragment);
  }

  std::string path;
  std::optional<std::string> query;
  std::optional<std::string> fragment;
};

std::string replacingLastComponent(std::string_view subject, std::string_view component) {
  return stringByAppendingURLPathComponent(stringByDeletingLastURLPathComponent(subject),
                                           component);
}

}  // namespace

std::string lastURLPathComponent(std::string_view subject) {
  std::string path = stringByDeletingURLQuery(stringByDeletingURLFragment(subject));
  const std::size_t slash = path.rfind('/');
  if (slash != npos) path.erase(0, slash + 1);
  return path;
}

std::string stringByDeletingLastURLPathComponent(std::string_view subject) {
  Split split(subject);
  const std::size_t slash = split.path.rfind('/');
  if (slash != npos) split.path.resize(slash + 1);
  return split.joined();
}

std::string stringByAppendingURLPathComponent(std::string_view subject,
                                              std::string_view component) {
  Split split(subject);
  if (component.starts_with('/')) component.remove_prefix(1);
  if (!split.path.empty() && !split.path.ends_with('/')) split.path += '/';
  split.path += component;
  return split.joined();
}

std::string URLPathExtension(std::string_view subject) {
  return pathExtension(lastURLPathComponent(subject));
}

std::string stringByDeletingURLPathExtension(std::string_view subject) {
  return replacingLastComponent(subject,
                                stringByDeletingPathExtension(lastURLPathComponent(subject)));
}

std::string stringByAppendingURLPathExtension(std::string_view subject,
                                              std::string_view extension) {
  const std::optional<std::string> component =
      stringByAppendingPathExtension(lastURLPathComponent(subject), extension);
  if (!component) return std::string(subject);
  return replacingLastComponent(subject, *component);
}

std::optional<NSURL> URLValue(std::string_view subject) {
  if (isAbsolutePath(subject)) return NSURL::fileURLWithPath(subject);
  return NSURL::URLWithString(subject);
}

std::optional<NSURL> URLValueRelativeToURL(std::string_view subject, const NSURL& base) {
  return NSURL::URLWithString(subject, base);
}

}  // namespace korvane::RequestUtils
