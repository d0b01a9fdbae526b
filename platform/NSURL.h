#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"

namespace korvane {

/// A URL value: a text that was judged to be a URL, and its parts (RFC 3986 with the older
/// `;parameters` of RFC 1808). Immutable; any thread may read it.
class KORVANE_EXPORT NSURL {
 public:
  /// The URL of a text, which is never repaired: a character that is not legal in a URL (a space, a
  /// control, anything outside ASCII, one of `"<>\^` and backquote, braces and "|"), a "%" without
  /// two hexadecimal digits or a second "#" gives nothing. Square brackets outside the host come
  /// out percent-encoded.
  static std::optional<NSURL> URLWithString(std::string_view text);

  /// The URL of a text resolved against a base (RFC 1808, section 4); absoluteString() is the
  /// resolved text. "." and ".." are worked out where the path of the text is relative and the base
  /// has a path; ".." that leads above the root stays. Where the base has no path the text's
  /// becomes rooted. The result has "//" after its scheme, whatever the base has there: "c" on
  /// "file:/a/b" gives "file:///a/c". Of a base without parts ("mailto:a@b") only the scheme
  /// counts. The empty text gives the base as it stands, its fragment too. A text that begins with
  /// ":" counts without it, or as the empty text where no "/" follows.
  static std::optional<NSURL> URLWithString(std::string_view text, const NSURL& relativeToURL);

  /// The file URL of an absolute path of any bytes, percent-encoded. A path that is an existing
  /// folder gets a trailing "/"; the Platform's file manager is asked. A relative path is taken
  /// from the process's working directory.
  static NSURL fileURLWithPath(std::string_view path);

  /// The whole URL as text.
  const std::string& absoluteString() const noexcept { return text_; }

  // The parts; absent where the URL has none. host, user and path come with their escapes removed
  // (absent when the bytes are not UTF-8), the others keep theirs. What follows the first ";" of
  // the path is not part of it but the parameterString. path loses one trailing "/", and one more
  // after its escapes were removed, where it had any; "/" alone stays. It is empty, not absent,
  // where nothing follows a host or precedes a ";". Between "//" and the path there may be nothing:
  // such a URL has neither a host nor, by that, a path. The scheme is empty, not absent, in a text
  // that begins with ":". A URL without "/" after its scheme ("mailto:a@b") has a scheme and
  // nothing else, and a "#" in it is escaped. The first "@" ends user and password, the first ":"
  // in them the user.
  std::optional<std::string> scheme() const;
  std::optional<std::string> host() const;
  /// Absent when empty or not decimal; the nearest limit when out of range.
  std::optional<std::int64_t> port() const;
  std::optional<std::string> user() const;
  std::optional<std::string> password() const;
  std::optional<std::string> path() const;
  std::optional<std::string> parameterString() const;
  std::optional<std::string> query() const;
  std::optional<std::string> fragment() const;

  /// Whether the scheme is "file", in any case. False without a scheme.
  bool isFileURL() const;

  /// The path as the file system takes it: escapes removed, whatever bytes come out, parameters
  /// included, and no "/" at its end unless it is the root. Empty where there is no path.
  std::string fileSystemRepresentation() const;

  /// This URL with the component (any bytes) added to its path: exactly one "/" between, the
  /// component percent-encoded. Parameters, query and fragment stay. A URL that has only a scheme
  /// stays as it is.
  NSURL URLByAppendingPathComponent(std::string_view component) const;

  /// This URL with "." and the extension, percent-encoded, added to the last component of its path,
  /// before a trailing "/". Unchanged where the path has no component, for an empty extension and
  /// for one that begins with "/".
  NSURL URLByAppendingPathExtension(std::string_view extension) const;

  /// Same text, case and escapes included.
  friend bool operator==(const NSURL& a, const NSURL& b) noexcept { return a.text_ == b.text_; }

 private:
  NSURL() = default;

  // Finds the parts of a text that is known to be a URL, or tells that it is none.
  bool locateParts();

  bool hasScheme() const noexcept { return hierarchyBegin_ != 0; }
  bool isOpaque() const noexcept;
  bool hasSlashesBeforeAuthority() const noexcept;
  /// What stands between "//" and the path; empty also where there is no "//".
  std::string_view authority() const;
  /// User, password, host and port; the escapes are still there.
  struct Authority;
  Authority authorityParts() const;
  /// The path as it stands in the text, with its parameters.
  std::string_view rawPath() const;
  static NSURL fromValidText(std::string text);

  // Where the parts of the text stand. An absent part is empty, and its mark ("?", "#") missing.
  std::string text_;
  std::size_t hierarchyBegin_ = 0;  // after the scheme's ":"; 0 without a scheme
  std::size_t pathBegin_ = 0;       // also the end of the authority
  std::size_t pathEnd_ = 0;         // the "?", the "#" or the end
  std::size_t queryEnd_ = 0;        // the "#" or the end
};

}  // namespace korvane
