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

  /// The URL of a text resolved against a base; absoluteString() is the resolved text.
  static std::optional<NSURL> URLWithString(std::string_view text, const NSURL& relativeToURL);

  /// The file URL of an absolute path of any bytes, percent-encoded. A path that is an existing
  /// folder gets a trailing "/"; the Platform's file manager is asked. A relative path is taken
  /// from the process's working directory.
  static NSURL fileURLWithPath(std::string_view path);

  /// The whole URL as text.
  const std::string& absoluteString() const noexcept { return text_; }

  // The parts; absent where the URL has none. host, user and path come with their escapes removed,
  // the others keep theirs. path loses a trailing "/" (the root keeps it) and what follows its
  // first ";", which is the parameterString. A URL without "/" after its scheme ("mailto:a@b") has
  // a scheme and nothing else.
  std::optional<std::string> scheme() const;
  std::optional<std::string> host() const;
  /// Absent when empty or not decimal.
  std::optional<std::int64_t> port() const;
  std::optional<std::string> user() const;
  std::optional<std::string> password() const;
  std::optional<std::string> path() const;
  std::optional<std::string> parameterString() const;
  std::optional<std::string> query() const;
  std::optional<std::string> fragment() const;

  /// Whether the scheme is "file", in any case.
  bool isFileURL() const;

  /// The path as the file system takes it: escapes removed, whatever bytes come out, parameters
  /// included. Empty where there is no path.
  std::string fileSystemRepresentation() const;

  /// This URL with the component added to its path: exactly one "/" between, the component
  /// percent-encoded. Query and fragment stay.
  NSURL URLByAppendingPathComponent(std::string_view component) const;

  /// This URL with "." and the extension added to the last component of its path.
  NSURL URLByAppendingPathExtension(std::string_view extension) const;

  friend bool operator==(const NSURL& a, const NSURL& b) noexcept { return a.text_ == b.text_; }

 private:
  NSURL() = default;

  std::string text_;
};

}  // namespace korvane
