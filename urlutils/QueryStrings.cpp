#include "urlutils/detail/QueryStrings.h"

#include <algorithm>

#include "platform/NSException.h"
#include "urlutils/RequestUtils.h"

// Queries as parts of a text: finding, removing, replacing and appending them.
namespace korvane::RequestUtils {
namespace {

constexpr std::size_t npos = std::string_view::npos;

}  // namespace

std::optional<std::string_view> queryInside(std::string_view subject) {
  const URLQueryRange range = rangeOfURLQuery(subject);
  if (range.location == URLQueryRange::notFound) return std::nullopt;
  std::string_view query = subject.substr(range.location, range.length);
  if (query.starts_with('?')) query.remove_prefix(1);
  return query;
}

URLQueryRange rangeOfURLQuery(std::string_view subject) {
  const std::size_t end = std::min(subject.find('#'), subject.size());
  const std::size_t question = subject.find('?');
  if (question == npos) {
    if (subject.substr(0, end).find('=') == npos) return {};
    return {0, end};
  }
  if (question > end) {
    throw NSException(NSRangeException, "the fragment begins before the query");
  }
  return {question, end - question};
}

std::optional<std::string> URLQuery(std::string_view subject) {
  const std::optional<std::string_view> query = queryInside(subject);
  if (!query) return std::nullopt;
  return std::string(*query);
}

std::string stringByDeletingURLQuery(std::string_view subject) {
  const URLQueryRange range = rangeOfURLQuery(subject);
  std::string result(subject);
  if (range.location != URLQueryRange::notFound) result.erase(range.location, range.length);
  return result;
}

std::string stringByReplacingURLQueryWithQuery(std::string_view subject,
                                               std::optional<std::string_view> query) {
  return stringByAppendingURLQuery(stringByDeletingURLQuery(subject), query);
}

std::string stringByAppendingURLQuery(std::string_view subject,
                                      std::optional<std::string_view> query) {
  if (!query || query->empty()) return std::string(subject);
  const std::size_t hash = subject.find('#');
  const std::string_view base = subject.substr(0, hash);
  const std::string_view fragment = hash == npos ? std::string_view() : subject.substr(hash + 1);

  std::string result;
  result.reserve(subject.size() + query->size() + 1);
  result += base;
  const std::optional<std::string_view> existing = queryInside(base);
  if (!existing) {
    result += '?';
  } else if (!existing->empty()) {
    result += '&';
  }
  result += *query;
  if (!fragment.empty()) {
    result += '#';
    result += fragment;
  }
  return result;
}

}  // namespace korvane::RequestUtils
