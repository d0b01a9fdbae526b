#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/Value.h"

/// URL utilities on plain texts: percent encoding, fragments, query strings. Texts are UTF-8, the
/// positions count bytes. Every operation gives a new value, logs nothing and may be called from
/// any thread. Failures are raised as NSException, where an operation says so.
namespace korvane::RequestUtils {

// Percent encoding (RFC 3986, section 2.1).

/// The text with every byte but ASCII letters and digits and "-", ".", "_", "~" written as "%" and
/// two upper-case hexadecimal digits. A space becomes "%20", a "%" becomes "%25". A byte order mark
/// that begins the text is left out.
KORVANE_EXPORT std::string URLEncodedString(std::string_view subject);

/// The text with its percent escapes replaced, after every "+" by a space where asked. Absent when
/// an escape is malformed or the bytes are not UTF-8.
KORVANE_EXPORT std::optional<std::string> URLDecodedString(std::string_view subject,
                                                           bool plusAsSpace);

// Fragments.

/// What follows the first "#"; absent without one.
KORVANE_EXPORT std::optional<std::string> URLFragment(std::string_view subject);
/// What precedes the first "#", or the subject.
KORVANE_EXPORT std::string stringByDeletingURLFragment(std::string_view subject);
/// The subject, "#" and the fragment; without the "#" where the subject has one. An absent fragment
/// gives the subject, an empty one leaves a bare "#".
KORVANE_EXPORT std::string stringByAppendingURLFragment(std::string_view subject,
                                                        std::optional<std::string_view> fragment);

// Query strings.

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
/// and values percent-encoded, pairs in the dictionary's order. Raises NSException for a value of
/// any other kind.
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

}  // namespace korvane::RequestUtils
