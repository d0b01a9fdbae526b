// The paths of any text, edited.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/Require.h"
#include "urlutils/RequestUtils.h"

using namespace korvane::RequestUtils;

namespace {

// The query behind a path that has no "=" of its own; an empty one counts as none, for it is not
// put back.
std::string queryBehindPath(const std::string& text) {
  return URLQuery(stringByDeletingURLFragment(text)).value_or("");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string subject(reinterpret_cast<const char*>(data), size);
  const std::string path = subject.substr(0, subject.find_first_of("?#"));
  // Where the path holds a "=" it may be taken for a query, or a query may be joined with "&".
  const bool plain = path.find('=') == path.npos;

  const std::string appended = stringByAppendingURLPathComponent(subject, "c.e");
  const std::string edits[] = {appended, stringByDeletingLastURLPathComponent(subject),
                               stringByDeletingURLPathExtension(subject),
                               stringByAppendingURLPathExtension(subject, "x")};
  for (const std::string& edited : edits) {
    REQUIRE(URLFragment(edited) == URLFragment(subject));
    if (plain) REQUIRE(queryBehindPath(edited) == queryBehindPath(subject));
  }
  REQUIRE(lastURLPathComponent(subject).find('/') == std::string::npos);
  if (plain) {
    REQUIRE(lastURLPathComponent(appended) == "c.e");
    REQUIRE(URLPathExtension(appended) == "e");
    REQUIRE(lastURLPathComponent(stringByDeletingURLPathExtension(appended)) == "c");
    REQUIRE(lastURLPathComponent(stringByAppendingURLPathExtension(appended, "x")) == "c.e.x");
    REQUIRE(stringByDeletingLastURLPathComponent(appended).ends_with('/') ||
            !queryBehindPath(subject).empty() || URLFragment(subject) || path.empty());
  }
  return 0;
}
