#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/NSURL.h"
#include "platform/NSURLRequest.h"
#include "platform/Value.h"

/// URL utilities: percent encoding, fragments, query strings and paths of plain texts, the
/// components of URLs, base64, parameters and authentication of web requests. Texts are UTF-8,
/// positions count bytes. Operations give new values and leave what they are given as it is, but
/// for those that set or add to a request. They log nothing, and any thread may call. Failures are
/// raised as NSException, where an operation says so: WrongKindException for a value that is not
/// what is needed, whose key or component begins the reason; UndecodableException for a query that
/// cannot be decoded; NSRangeException for one that cannot be located.
namespace korvane::RequestUtils {

// Percent encoding (RFC 3986, section 2.1).

/// The text with every byte but ASCII letters and digits and "-", ".", "_", "~" written as "%" and
/// two upper-case hexadecimal digits. A space becomes "%20", a "%" becomes "%25".
KORVANE_EXPORT std::string URLEncodedString(std::string_view subject);

/// The text with its percent escapes replaced, after every "+" by a space where asked, less one
/// byte order mark (U+FEFF) at the beginning of the result. Absent when an escape is malformed or
/// the bytes are not UTF-8.
KORVANE_EXPORT std::optional<std::string> URLDecodedString(std::string_view subject,
                                                           bool plusAsSpace);

// Fragments (RFC 3986, section 3.5).

/// What follows the first "#"; absent without one.
KORVANE_EXPORT std::optional<std::string> URLFragment(std::string_view subject);
/// What precedes the first "#", or the subject.
KORVANE_EXPORT std::string stringByDeletingURLFragment(std::string_view subject);
/// The subject, "#" and the fragment; without the "#" where the subject has one. An absent fragment
/// gives the subject, an empty one leaves a bare "#".
KORVANE_EXPORT std::string stringByAppendingURLFragment(std::string_view subject,
                                                        std::optional<std::string_view> fragment);

// Query strings (RFC 3986, section 3.4).

/// How keys that occur more than once are written, read and merged: one mode, or'ed with
/// URLQueryBracketSyntax. Other bits are ignored.
using URLQueryFlags = std::int32_t;
inline constexpr URLQueryFlags URLQueryModeDefault = 0;
inline constexpr URLQueryFlags URLQueryModeKeepLast = 1;
inline constexpr URLQueryFlags URLQueryModeKeepFirst = 2;
inline constexpr URLQueryFlags URLQueryModeCollect = 3;
inline constexpr URLQueryFlags URLQueryModeAlwaysList = 4;
inline constexpr URLQueryFlags URLQueryBracketSyntax = 8;

/// Where the query of a text stands.
struct KORVANE_EXPORT URLQueryRange {
  /// `location` when there is no query; `length` is 0 then.
  static constexpr std::uint64_t notFound = 0x7fffffffffffffff;
  std::uint64_t location = notFound;
  std::uint64_t length = 0;
  friend bool operator==(const URLQueryRange&, const URLQueryRange&) = default;
};

/// The query string of a parameter dictionary (values: texts or lists of texts), without "?", keys
/// and values percent-encoded, pairs in the dictionary's order; empty lists are left out. Raises
/// NSException for a value of any other kind, and for a list that holds one, written or not.
KORVANE_EXPORT std::string URLQueryWithParameters(const Dictionary& parameters,
                                                  URLQueryFlags options = URLQueryModeDefault);

/// Where the query stands: from the first "?", included, to the first "#" or the end. Without a
/// "?", everything before the first "#" where that holds a "=". Raises NSException
/// (NSRangeException) when the first "#" precedes the first "?"; so do the operations below.
KORVANE_EXPORT URLQueryRange rangeOfURLQuery(std::string_view subject);
/// The query without its "?"; absent when there is none.
KORVANE_EXPORT std::optional<std::string> URLQuery(std::string_view subject);
/// The subject without its query and the "?"; a fragment stays.
KORVANE_EXPORT std::string stringByDeletingURLQuery(std::string_view subject);
/// The subject with its query taken away and the argument appended.
KORVANE_EXPORT std::string stringByReplacingURLQueryWithQuery(
    std::string_view subject, std::optional<std::string_view> query);
/// The subject with the argument, as it is, added to its query, before the fragment. An absent or
/// empty argument gives the subject. A bare "#" at the end is dropped. Works also where the "#"
/// precedes a "?", since the fragment is taken off first.
KORVANE_EXPORT std::string stringByAppendingURLQuery(std::string_view subject,
                                                     std::optional<std::string_view> query);
/// The subject with the query of the argument (a query or a URL) merged into its own. The merged
/// query is put back without "?": merging "b=2" into "x://h/p?a=1" gives "x://h/pa=1&b=2"; only a
/// bare query merges into a well-formed one. Raises NSException also where URLQueryParameters or
/// URLQueryWithParameters does: in mode 4, for a key that the subject does not have.
KORVANE_EXPORT std::string stringByMergingURLQuery(std::string_view subject, std::string_view query,
                                                   URLQueryFlags options = URLQueryModeDefault);
/// The parameters of the subject's query, decoded ("+" is a space), in the order of their first
/// occurrence; empty without a query. Raises NSException for a key or value that does not decode,
/// unless it is not kept: a piece without "=", the third part of "a=1=2", a later value in mode 2.
KORVANE_EXPORT Dictionary URLQueryParameters(std::string_view subject,
                                             URLQueryFlags options = URLQueryModeDefault);
/// The same.
KORVANE_EXPORT Dictionary URLQueryParametersWithOptions(std::string_view subject,
                                                        URLQueryFlags options);

// Paths. Each operation takes the fragment and then the query off the text, works on what remains
// and appends query and fragment again, as the operations above do: an empty query is not put back,
// a bare "#" is, and where the remainder holds a "=" but no "?" the query joins it with "&". A "#"
// that precedes a "?" is not a failure here, since the fragment goes first.

/// What follows the last "/" of the path; all of it without a "/" ("x://h" gives "h").
KORVANE_EXPORT std::string lastURLPathComponent(std::string_view subject);
/// The subject cut behind the last "/" of its path, which stays ("x://h" gives "x://"); unchanged
/// without a "/".
KORVANE_EXPORT std::string stringByDeletingLastURLPathComponent(std::string_view subject);
/// The subject with the component, as it is, added to its path, one "/" between. One "/" at the
/// component's beginning is dropped; an empty path gets no "/".
KORVANE_EXPORT std::string stringByAppendingURLPathComponent(std::string_view subject,
                                                             std::string_view component);
/// The extension of the last component, without the "."; empty where it has none.
KORVANE_EXPORT std::string URLPathExtension(std::string_view subject);
/// The subject without the extension of its last component. A subject without a "/" keeps its name
/// and gets a second one: "f.txt" gives "f.txt/f".
KORVANE_EXPORT std::string stringByDeletingURLPathExtension(std::string_view subject);
/// The subject with "." and the extension added to its last component; a name without a "/" is
/// doubled as above. Unchanged where there is no last component to extend, and for an extension
/// that begins with "/".
KORVANE_EXPORT std::string stringByAppendingURLPathExtension(std::string_view subject,
                                                             std::string_view extension);

// URL values.

/// The file URL of a text that begins with "/" or "~", else the URL of the text; absent when that
/// is not a URL. The Platform's file manager is asked whether a path is a folder.
KORVANE_EXPORT std::optional<NSURL> URLValue(std::string_view subject);
/// The URL of the text resolved against the base; absent when that is not a URL.
KORVANE_EXPORT std::optional<NSURL> URLValueRelativeToURL(std::string_view subject,
                                                          const NSURL& base);

// URL components. Their values are texts but for the port, a number, which may be given as a text
// too, and the query, which may be given as a parameter dictionary.

inline constexpr const char* URLSchemeComponent = "scheme";
inline constexpr const char* URLHostComponent = "host";
inline constexpr const char* URLPortComponent = "port";
inline constexpr const char* URLUserComponent = "user";
inline constexpr const char* URLPasswordComponent = "password";
inline constexpr const char* URLPathComponent = "path";
inline constexpr const char* URLParameterStringComponent = "parameterString";
inline constexpr const char* URLQueryComponent = "query";
inline constexpr const char* URLFragmentComponent = "fragment";

/// The URL whose text is the components joined, scheme "://" user ":" password "@" host ":" port
/// path ";" parameterString "?" query "#" fragment, with those that are there; absent when that is
/// not a URL. Nothing is encoded, but for a query given as a dictionary (default options). A
/// password without a user is left out. Other keys are ignored. Raises NSException for a component
/// that has to be a text and is not, and as URLQueryWithParameters does.
KORVANE_EXPORT std::optional<NSURL> URLWithComponents(const Dictionary& components);

/// The components that the URL has, in the order of the constants, as NSURL gives them.
///
/// host, user and path have lost their escapes and the path its trailing "/", so that joining them
/// again need not give the same URL, nor any: the URL of a path with an escaped space comes out
/// absent. The operations URLWithValue to URLWithFragment below share this. URLWithScheme and the
/// operations on queries and paths of texts keep what they do not change.
KORVANE_EXPORT Dictionary components(const NSURL& url);

/// The URL of this one's components with one of them replaced, or taken away where the value (which
/// may be given as a std::optional) is absent. Absent, and raises, as URLWithComponents.
KORVANE_EXPORT std::optional<NSURL> URLWithValue(const NSURL& url, const Value& value,
                                                 std::string_view component);

/// The URL's text with another scheme; all else stays as it is. A URL without a scheme gets this
/// one in front of its text, without "://". Absent when that is not a URL.
KORVANE_EXPORT std::optional<NSURL> URLWithScheme(const NSURL& url, std::string_view scheme);

/// URLWithValue for one component; so are those that follow.
KORVANE_EXPORT std::optional<NSURL> URLWithHost(const NSURL& url, const Value& host);
KORVANE_EXPORT std::optional<NSURL> URLWithPort(const NSURL& url, const Value& port);
KORVANE_EXPORT std::optional<NSURL> URLWithUser(const NSURL& url, const Value& user);
KORVANE_EXPORT std::optional<NSURL> URLWithPassword(const NSURL& url, const Value& password);
KORVANE_EXPORT std::optional<NSURL> URLWithPath(const NSURL& url, const Value& path);
KORVANE_EXPORT std::optional<NSURL> URLWithParameterString(const NSURL& url,
                                                           const Value& parameterString);
/// An empty text leaves a bare "?".
KORVANE_EXPORT std::optional<NSURL> URLWithQuery(const NSURL& url, const Value& query);
KORVANE_EXPORT std::optional<NSURL> URLWithFragment(const NSURL& url, const Value& fragment);

// Base64 (RFC 4648, section 4).

/// The base64 form of the text's bytes, padded, without line breaks. Absent for an empty text.
KORVANE_EXPORT std::optional<std::string> base64EncodedString(std::string_view subject);

/// The text whose base64 form this is. Every character outside the alphabet is skipped wherever it
/// stands, "=" included, which ends nothing; a last group of two or three characters need not be
/// padded. Absent when no byte comes out and when the bytes are not UTF-8.
KORVANE_EXPORT std::optional<std::string> base64DecodedString(std::string_view subject);

// Web requests. An absent parameter dictionary is an empty one. What takes parameters raises as
// URLQueryWithParameters does.

/// A request with the method in upper case (of ASCII letters, as methods are made of) that accepts
/// gzip. The parameters go into the URL's query for "GET", as addGETParameters does, and into a
/// form body for every other method, an empty one without parameters.
KORVANE_EXPORT NSMutableURLRequest HTTPRequestWithURL(const NSURL& url, std::string_view method,
                                                      const Dictionary& parameters = {});
/// HTTPRequestWithURL with the method "GET".
KORVANE_EXPORT NSMutableURLRequest GETRequestWithURL(const NSURL& url,
                                                     const Dictionary& parameters = {});
/// HTTPRequestWithURL with the method "POST".
KORVANE_EXPORT NSMutableURLRequest POSTRequestWithURL(const NSURL& url,
                                                      const Dictionary& parameters = {});

/// The parameters in the query of the request's URL, or in its body; empty without one, and for a
/// body that is not UTF-8. Raises as URLQueryParameters does.
KORVANE_EXPORT Dictionary GETParameters(const NSURLRequest& request);
KORVANE_EXPORT Dictionary POSTParameters(const NSURLRequest& request);

/// Replaces the query of the request's URL, as URLWithQuery does: the request has no URL then where
/// that is absent, and keeps having none. Without parameters a bare "?" stays.
KORVANE_EXPORT void setGETParameters(NSMutableURLRequest& request, const Dictionary& parameters,
                                     URLQueryFlags options = URLQueryModeDefault);
/// Merges parameters into the query of the request's URL, which it then replaces as above. A URL
/// without a query gets "??" before them; adding once more takes one of the two away. Where the URL
/// has no "?" but a "=" before its fragment, all that precedes the fragment counts as its query.
/// Raises as stringByMergingURLQuery does.
KORVANE_EXPORT void addGETParameters(NSMutableURLRequest& request, const Dictionary& parameters,
                                     URLQueryFlags options = URLQueryModeDefault);
/// Makes the parameters the request's body and adds the header fields of a form, also to fields
/// that the request has. Content-Length counts in 32 bits, signed.
KORVANE_EXPORT void setPOSTParameters(NSMutableURLRequest& request, const Dictionary& parameters,
                                      URLQueryFlags options = URLQueryModeDefault);
/// The same, with the parameters merged into the body that the request has. A body that was empty,
/// or is not UTF-8, begins with "?" then. Raises as stringByMergingURLQuery does.
KORVANE_EXPORT void addPOSTParameters(NSMutableURLRequest& request, const Dictionary& parameters,
                                      URLQueryFlags options = URLQueryModeDefault);

/// User and password of the request's Authorization field (RFC 7617): "Basic ", in this case, is
/// taken out wherever it stands, the rest is decoded as base64DecodedString does and split at every
/// ":"; absent when it does not decode. Without the field those of the URL, empty where it has
/// none.
KORVANE_EXPORT std::optional<std::vector<std::string>> HTTPBasicAuthComponents(
    const NSURLRequest& request);
/// The first of the components.
KORVANE_EXPORT std::optional<std::string> HTTPBasicAuthUser(const NSURLRequest& request);
/// The last of the components where there are two; absent for a password that holds ":".
KORVANE_EXPORT std::optional<std::string> HTTPBasicAuthPassword(const NSURLRequest& request);
/// Adds an Authorization field, or a value to the one there is. Absent counts as empty.
KORVANE_EXPORT void setHTTPBasicAuthUser(NSMutableURLRequest& request,
                                         std::optional<std::string_view> user,
                                         std::optional<std::string_view> password);

}  // namespace korvane::RequestUtils
