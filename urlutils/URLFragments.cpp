#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {

std::optional<std::string> URLFragment(std::string_view subject) {
  const std::size_t hash = subject.find('#');
  if (hash == std::string_view::npos) return std::nullopt;
  return std::string(subject.substr(hash + 1));
}

std::string stringByDeletingURLFragment(std::string_view subject) {
  return std::string(subject.substr(0, subject.find('#')));
}

std::string stringByAppendingURLFragment(std::string_view subject,
                                         std::optional<std::string_view> fragment) {
  std::string result(subject);
  if (!fragment) return result;
  // What is appended to a fragment extends it.
  if (subject.find('#') == std::string_view::npos) result += '#';
  result += *fragment;
  return result;
}

}  // namespace korvane::RequestUtils
