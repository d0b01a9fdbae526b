// Queries, fragments and paths of URLs held as plain texts; components, base64 and web requests.
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

  // Paths are edited in front of query and fragment.
  const std::string file = RequestUtils::stringByAppendingURLPathExtension("x://h/f?a=1#t", "txt");
  well &= check(file == "x://h/f.txt?a=1#t", "the extension");

  // A URL comes apart into its components, and is made of them.
  const NSURL page = RequestUtils::URLValue("https://ann@h.example:8080/p?a=1").value();
  const Dictionary parts = RequestUtils::components(page);
  const std::optional<NSURL> other = RequestUtils::URLWithHost(page, "other.example");
  well &= check(parts.objectForKey(RequestUtils::URLPortComponent) == Value(8080), "the port");
  well &= check(other && other->absoluteString() == "https://ann@other.example:8080/p?a=1",
                "the other host");

  // Base64 of an empty text is absent; foreign characters are skipped when it is read.
  const std::optional<std::string> encoded = RequestUtils::base64EncodedString("Tea");
  const std::optional<std::string> decoded = RequestUtils::base64DecodedString("VG\nVh");
  well &= check(encoded == "VGVh" && decoded == "Tea", "base64");
  well &= check(!RequestUtils::base64EncodedString(""), "base64 of nothing");

  // Parameters travel in the query of a GET and in the body of every other method.
  const NSMutableURLRequest get = RequestUtils::GETRequestWithURL(page, {{"b", "2"}});
  NSMutableURLRequest post = RequestUtils::POSTRequestWithURL(page, {{"b", "2"}});
  RequestUtils::setHTTPBasicAuthUser(post, "ann", "secret");
  well &= check(get.URL()->absoluteString() == "https://ann@h.example:8080/p?a=1&b=2", "the GET");
  well &= check(post.HTTPBody() == NSData{'b', '=', '2'}, "the POST");
  well &= check(RequestUtils::HTTPBasicAuthPassword(post) == "secret", "the password");

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
