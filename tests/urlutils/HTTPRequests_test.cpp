#include <gtest/gtest.h>

#include "platform/NSException.h"
#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {
namespace {

using Text = std::optional<std::string>;
using Texts = std::optional<std::vector<std::string>>;

NSURL url(std::string_view text) { return NSURL::URLWithString(text).value(); }
std::string text(const NSURLRequest& request) { return request.URL()->absoluteString(); }
Text body(const NSURLRequest& request) {
  const auto& bytes = request.HTTPBody();
  return bytes ? Text(std::string(bytes->begin(), bytes->end())) : Text();
}
Text field(const NSURLRequest& request, const char* name) {
  return request.valueForHTTPHeaderField(name);
}

TEST(HTTPRequestWithURL, GET) {
  for (const char* method : {"get", "GET", "Get"}) {
    const auto request = HTTPRequestWithURL(url("x://h/p?x=1"), method, {{"a", "1"}});
    EXPECT_EQ(request.HTTPMethod(), "GET");
    EXPECT_EQ(text(request), "x://h/p?x=1&a=1");
    EXPECT_EQ(body(request), std::nullopt);
    EXPECT_EQ(field(request, "Accept-Encoding"), "gzip");
    EXPECT_EQ(request.allHTTPHeaderFields().size(), 1U);
  }
  EXPECT_EQ(text(GETRequestWithURL(url("x://h/p"), {{"a", "1"}})), "x://h/p??a=1");
  EXPECT_EQ(text(GETRequestWithURL(url("x://h/p"))), "x://h/p?");
  EXPECT_EQ(text(GETRequestWithURL(url("x://h/p?x=1"))), "x://h/p?x=1");
  EXPECT_EQ(text(GETRequestWithURL(url("x://h/p#f"), {{"a", "1"}})), "x://h/p??a=1#f");
  EXPECT_EQ(text(GETRequestWithURL(url("x://h/p?"), {{"a", "1"}})), "x://h/p??a=1");
  EXPECT_EQ(text(GETRequestWithURL(url("x://h/p?flag"), {{"a", "1"}})), "x://h/p?flag?a=1");
  // A URL with "=" and without "?" is all query.
  EXPECT_EQ(text(GETRequestWithURL(url("x://h/p=1"), {{"a", "1"}})),
            "x://h/p=1?x%3A%2F%2Fh%2Fp=1&a=1");
}

TEST(HTTPRequestWithURL, FormBody) {
  for (const char* method : {"put", "POST", "delete", ""}) {
    const auto request = HTTPRequestWithURL(url("x://h/p?x=1"), method, {{"a", "1"}});
    EXPECT_EQ(text(request), "x://h/p?x=1");
    EXPECT_EQ(body(request), "a=1");
    EXPECT_EQ(field(request, "content-transfer-encoding"), "8bit");
    EXPECT_EQ(field(request, "content-type"), "application/x-www-form-urlencoded");
    EXPECT_EQ(field(request, "content-length"), "3");
    EXPECT_EQ(field(request, "accept-encoding"), "gzip");
  }
  // Only ASCII letters have a case here.
  EXPECT_EQ(HTTPRequestWithURL(url("x://h/p"), "x-é{z").HTTPMethod(), "X-é{Z");
  const auto request = POSTRequestWithURL(url("x://h/p"));
  EXPECT_EQ(request.HTTPMethod(), "POST");
  EXPECT_EQ(body(request), "");
  EXPECT_EQ(field(request, "Content-Length"), "0");
  std::string names;
  for (const auto& [name, value] : request.allHTTPHeaderFields()) names += name + " ";
  EXPECT_EQ(names, "Content-Transfer-Encoding Content-Type Content-Length Accept-Encoding ");
}

TEST(GETParameters, SetReplacesAddMerges) {
  NSMutableURLRequest request(url("x://h/p?x=1#f"));
  setGETParameters(request, {{"a", List{"1", "2"}}}, URLQueryBracketSyntax);
  EXPECT_EQ(text(request), "x://h/p?a%5B%5D=1&a%5B%5D=2#f");
  setGETParameters(request, {{"a", "1"}});
  EXPECT_EQ(text(request), "x://h/p?a=1#f");
  addGETParameters(request, {{"b", "2"}, {"a", "3"}});
  EXPECT_EQ(text(request), "x://h/p?a=3&b=2#f");
  addGETParameters(request, {{"a", "4"}}, URLQueryModeCollect);
  EXPECT_EQ(text(request), "x://h/p?a=3&a=4&b=2#f");
  EXPECT_EQ(GETParameters(request), (Dictionary{{"a", "4"}, {"b", "2"}}));
  setGETParameters(request, {});
  EXPECT_EQ(text(request), "x://h/p?#f");
  EXPECT_EQ(GETParameters(request), Dictionary());
}

TEST(GETParameters, DoubledQuestionMark) {
  NSMutableURLRequest request(url("x://h/p"));
  addGETParameters(request, {{"a", "1"}});
  EXPECT_EQ(text(request), "x://h/p??a=1");
  EXPECT_EQ(GETParameters(request), (Dictionary{{"a", "1"}}));
  addGETParameters(request, {{"b", "2"}});
  EXPECT_EQ(text(request), "x://h/p?a=1&b=2");
}

TEST(GETParameters, OddURLs) {
  NSMutableURLRequest none(std::nullopt);
  setGETParameters(none, {{"a", "1"}});
  addGETParameters(none, {{"a", "1"}});
  EXPECT_EQ(none.URL(), std::nullopt);
  EXPECT_EQ(GETParameters(none), Dictionary());

  // The new URL is joined from decoded parts, and this one is none.
  NSMutableURLRequest escaped(url("x://h/a%20b"));
  setGETParameters(escaped, {{"a", "1"}});
  EXPECT_EQ(escaped.URL(), std::nullopt);

  NSMutableURLRequest late(url("x://h/#f?x"));
  EXPECT_THROW(addGETParameters(late, {{"a", "1"}}), NSException);
  EXPECT_EQ(GETParameters(NSURLRequest(url("x://h/p"))), Dictionary());
  EXPECT_THROW(GETParameters(NSURLRequest(url("x://h/p?a=%FF"))), NSException);
  EXPECT_EQ(GETParameters(NSURLRequest(url("x://h/p?flag"))), Dictionary());
  EXPECT_EQ(GETParameters(NSURLRequest(url("x://h/p?a=1?b=2"))), (Dictionary{{"b", "2"}}));
  EXPECT_EQ(GETParameters(NSURLRequest(url("x://h/p?a[]=1#b?c"))), (Dictionary{{"a", "1"}}));
}

TEST(POSTParameters, SetAndAdd) {
  NSMutableURLRequest request(url("x://h/p"));
  EXPECT_EQ(POSTParameters(request), Dictionary());
  addPOSTParameters(request, {{"a", "1"}});
  EXPECT_EQ(body(request), "?a=1");
  EXPECT_EQ(POSTParameters(request), (Dictionary{{"a", "1"}}));
  addPOSTParameters(request, {{"b", "é"}});
  EXPECT_EQ(body(request), "a=1&b=%C3%A9");
  EXPECT_EQ(POSTParameters(request), (Dictionary{{"a", "1"}, {"b", "é"}}));
  setPOSTParameters(request, {{"c", List{"1", "2"}}}, URLQueryModeKeepFirst);
  EXPECT_EQ(body(request), "c=1");
  // Added each time, not replaced.
  EXPECT_EQ(field(request, "Content-Transfer-Encoding"), "8bit,8bit,8bit");
  EXPECT_EQ(field(request, "Content-Length"), "4,12,3");
}

TEST(POSTParameters, BodyThatIsNoQuery) {
  NSMutableURLRequest request(url("x://h/p"));
  addPOSTParameters(request, {});
  EXPECT_EQ(body(request), "");
  request.setHTTPBody(NSData{'x'});
  EXPECT_EQ(POSTParameters(request), Dictionary());
  addPOSTParameters(request, {{"a", "1"}});
  EXPECT_EQ(body(request), "x?a=1");
  request.setHTTPBody(NSData{'#', '?'});
  EXPECT_THROW(POSTParameters(request), NSException);
}

TEST(POSTParameters, BodyThatIsNotUTF8) {
  NSMutableURLRequest request(url("x://h/p"));
  request.setHTTPBody(NSData{0x61, 0x3D, 0xFF});
  EXPECT_EQ(POSTParameters(request), Dictionary());
  addPOSTParameters(request, {{"a", "1"}});
  EXPECT_EQ(body(request), "?a=1");
}

TEST(HTTPBasicAuth, WrittenAndReadBack) {
  NSMutableURLRequest request(url("x://v:w@h/"));
  setHTTPBasicAuthUser(request, "u", "p");
  EXPECT_EQ(field(request, "Authorization"), "Basic dTpw");
  EXPECT_EQ(HTTPBasicAuthUser(request), "u");
  EXPECT_EQ(HTTPBasicAuthPassword(request), "p");
  EXPECT_EQ(HTTPBasicAuthComponents(request), (std::vector<std::string>{"u", "p"}));

  setHTTPBasicAuthUser(request, "u", "p");
  EXPECT_EQ(field(request, "Authorization"), "Basic dTpw,Basic dTpw");
  EXPECT_EQ(HTTPBasicAuthComponents(request), (std::vector<std::string>{"u", "pu", "p"}));
}

TEST(HTTPBasicAuth, EdgeCases) {
  const struct {
    std::optional<std::string_view> user, password;
    Text readUser, readPassword;
  } rows[] = {
      {"u", "p:q", "u", std::nullopt},  // a ":" in the password
      {"u", "", "u", ""},
      {std::nullopt, std::nullopt, "", ""},
      {std::nullopt, "p", "", "p"},
      {"u", std::nullopt, "u", ""},
      {"é", "漢", "é", "漢"},
  };
  for (const auto& row : rows) {
    NSMutableURLRequest request(url("x://h/"));
    setHTTPBasicAuthUser(request, row.user, row.password);
    EXPECT_EQ(HTTPBasicAuthUser(request), row.readUser);
    EXPECT_EQ(HTTPBasicAuthPassword(request), row.readPassword);
  }
}

TEST(HTTPBasicAuth, WithoutTheField) {
  const auto parts = [](const char* text) {
    return HTTPBasicAuthComponents(NSURLRequest(url(text)));
  };
  EXPECT_EQ(parts("x://u%40:p%40@h/"), (std::vector<std::string>{"u@", "p%40"}));
  EXPECT_EQ(parts("x://u@h/"), (std::vector<std::string>{"u", ""}));
  EXPECT_EQ(parts("x://h/"), (std::vector<std::string>{"", ""}));
  EXPECT_EQ(HTTPBasicAuthComponents(NSURLRequest(std::nullopt)),
            (std::vector<std::string>{"", ""}));
  EXPECT_EQ(HTTPBasicAuthPassword(NSURLRequest(url("x://u:p:q@h/"))), "p:q");
}

TEST(HTTPBasicAuth, FieldThatDoesNotDecode) {
  const std::pair<const char*, Texts> rows[] = {
      {"Basic ", std::nullopt},
      {"", std::nullopt},
      {"Basic /w==", std::nullopt},
      {"Basic dTBasic pw", std::vector<std::string>{"u", "p"}},  // taken out wherever it stands
      {"dTpw", std::vector<std::string>{"u", "p"}},
      {"Basic dQ==", std::vector<std::string>{"u"}},
      {"Basic Basic dTpw", std::vector<std::string>{"u", "p"}},
      {"Basic Ojo=", std::vector<std::string>{"", "", ""}},
      {"basic dTpw", std::nullopt},  // six more characters of base64
      {"Bearer x", std::nullopt},
      {"BaBasic sic dTpw", std::nullopt},  // what is left is not taken out again
  };
  for (const auto& [value, parts] : rows) {
    NSMutableURLRequest request(url("x://v:w@h/"));  // never falls back to the URL's
    request.setValueForHTTPHeaderField(value, "authorization");
    EXPECT_EQ(HTTPBasicAuthComponents(request), parts) << value;
    EXPECT_EQ(HTTPBasicAuthUser(request), parts ? Text(parts->front()) : Text()) << value;
  }
}

}  // namespace
}  // namespace korvane::RequestUtils
