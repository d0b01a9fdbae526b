// Queries, fragments and paths of URLs held as plain texts.
#include <cstdio>
#include <string>

#include "platform/NSException.h"
#include "urlutils/RequestUtils.h"

using namespace korvane;

static bool check(bool seen, const char* what) {
  if (!seen) std::printf("not seen: %s\n", what);
  return seen;
}

int main() {
  bool well = true;

  // A dictionary becomes a query; a list becomes repeated pairs.
  Dictionary parameters;
  parameters.set("to", List{"ann@a.example", "bob@b.example"});
  parameters.set("subject", "Tea & biscuits");
  const std::string query = RequestUtils::URLQueryWithParameters(parameters);
  well &= check(query == "to=ann%40a.example&to=bob%40b.example&subject=Tea%20%26%20biscuits",
                "the query");

  // Read it back; asking for lists keeps both addresses.
  const Dictionary last = RequestUtils::URLQueryParameters(query);
  const Dictionary all = RequestUtils::URLQueryParameters(query, RequestUtils::URLQueryModeCollect);
  well &= check(last.objectForKey("to") == Value("bob@b.example"), "the last address");
  well &= check(all.objectForKey("to").list().size() == 2, "both addresses");

  // Queries are added before the fragment.
  const std::string url = RequestUtils::stringByAppendingURLQuery("x://h/p?a=1#top", "b=2");
  well &= check(url == "x://h/p?a=1&b=2#top", "the longer query");

  // What cannot be read is raised, or absent where the header says so.
  well &= check(!RequestUtils::URLDecodedString("50%", false), "an escape that does not decode");
  try {
    RequestUtils::URLQuery("x://h/#f?x");
    well = check(false, "the range failure");
  } catch (const NSException& exception) {
    well &= check(exception.name() == NSRangeException, "the range failure's name");
  }
  return well ? 0 : 1;
}
