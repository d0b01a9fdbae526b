// Options, then a subject and a query in two lines: read, written, merged, appended.
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/Require.h"
#include "platform/NSException.h"
#include "urlutils/RequestUtils.h"

using namespace korvane;
using namespace korvane::RequestUtils;

namespace {

// The parameters; absent where reading fails, which only the documented failures do.
std::optional<Dictionary> read(std::string_view text, URLQueryFlags options) {
  try {
    return URLQueryParameters(text, options);
  } catch (const NSException& exception) {
    REQUIRE(exception.name() == WrongKindException || exception.name() == UndecodableException ||
            (exception.name() == NSRangeException && text.find('#') < text.find('?')));
    return std::nullopt;
  }
}

// A dictionary whose keys, once written, read as what they are, and whose lists read as lists.
bool readsBack(const Dictionary& parameters) {
  for (const auto& [key, value] : parameters) {
    if (key.ends_with("[]") || key.starts_with("\uFEFF")) return false;
    const List values = value.isList() ? value.list() : List{value};
    for (const Value& element : values) {
      if (element.text().starts_with("\uFEFF")) return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const auto options = static_cast<URLQueryFlags>(data[0]);
  const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::size_t line = input.find('\n');
  const std::string subject(input.substr(0, line));
  const std::string query(line == input.npos ? std::string_view() : input.substr(line + 1));

  // What is written reads back: single values in every mode, lists where lists are read.
  const auto parameters = read(subject, options);
  if (parameters && readsBack(*parameters)) {
    const std::string written = "?" + URLQueryWithParameters(*parameters, options);
    const int mode = options & 7;
    if (mode <= 2) {
      REQUIRE(read(written, options) == parameters);
    } else if (mode == 4 || (mode == 3 && (options & URLQueryBracketSyntax) != 0)) {
      REQUIRE(read(written, options) == parameters);
    }
  }

  const bool fails = subject.find('#') < subject.find('?') && subject.find('?') != subject.npos;
  const std::string appended = stringByAppendingURLQuery(subject, "k=v");
  REQUIRE(URLQuery(stringByDeletingURLFragment(appended)).value().ends_with("k=v"));
  if (!fails) {
    const URLQueryRange range = rangeOfURLQuery(subject);
    REQUIRE(range.location == URLQueryRange::notFound ||
            (range.location + range.length <= subject.size()));
    REQUIRE(stringByDeletingURLQuery(subject).size() + range.length == subject.size());
  }
  try {
    const std::string merged = stringByMergingURLQuery(subject, query, options);
    const auto tail = URLFragment(subject);
    if (tail && !tail->empty()) REQUIRE(merged.ends_with("#" + *tail));
  } catch (const NSException&) {
    // Escapes, a "#" before a "?", or a key that is new in mode 4.
  }
  return 0;
}
