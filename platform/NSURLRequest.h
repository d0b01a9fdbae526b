#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Export.h"
#include "platform/NSURL.h"
#include "platform/Value.h"

namespace korvane {

/// A request to a web server: where to, how, with which header fields and which body. A plain
/// value; several threads may read one at the same time. Texts are UTF-8 and taken as they stand:
/// whoever sends a request refuses line breaks in its method and fields (RFC 9110, section 5.5).
class KORVANE_EXPORT NSURLRequest {
 public:
  /// A header field's name, in the case in which it was first given, and its value.
  using HeaderField = std::pair<std::string, std::string>;

  explicit NSURLRequest(std::optional<NSURL> url) : url_(std::move(url)) {}

  /// Absent where a change to the URL gave none.
  const std::optional<NSURL>& URL() const noexcept { return url_; }
  /// "GET" unless another was set.
  const std::string& HTTPMethod() const noexcept { return method_; }
  /// Absent where none was set, which is not the same as empty.
  const std::optional<NSData>& HTTPBody() const noexcept { return body_; }

  /// The header fields in the order in which they were first set.
  const std::vector<HeaderField>& allHTTPHeaderFields() const noexcept { return fields_; }
  /// The value of a header field; names compare without the case of ASCII letters (RFC 9110,
  /// section 5.1). Absent where the request has none.
  std::optional<std::string> valueForHTTPHeaderField(std::string_view field) const;

 protected:
  std::optional<NSURL> url_;
  std::string method_ = "GET";
  std::vector<HeaderField> fields_;
  std::optional<NSData> body_;
};

/// A request that can be changed; by one thread at a time.
class KORVANE_EXPORT NSMutableURLRequest : public NSURLRequest {
 public:
  using NSURLRequest::NSURLRequest;

  void setURL(std::optional<NSURL> url) { url_ = std::move(url); }
  /// The method as it stands; methods are case-sensitive.
  void setHTTPMethod(std::string_view method) { method_ = method; }
  void setHTTPBody(std::optional<NSData> body) { body_ = std::move(body); }

  /// Replaces the value of a header field; an absent value removes the field.
  void setValueForHTTPHeaderField(std::optional<std::string_view> value, std::string_view field);
  /// Adds a value to a header field: behind the one it has and a ",", where it has one.
  void addValueForHTTPHeaderField(std::string_view value, std::string_view field);
};

}  // namespace korvane
