#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Export.h"

namespace korvane {

/// Names an NSException carries.
inline constexpr const char* NSInvalidArgumentException = "NSInvalidArgumentException";
inline constexpr const char* NSRangeException = "NSRangeException";
/// A value was asked for what it is not.
inline constexpr const char* WrongKindException = "WrongKindException";
/// Percent escapes that are malformed, or whose bytes are not UTF-8.
inline constexpr const char* UndecodableException = "UndecodableException";

/// A failure that is raised: a value asked for what it is not, a position outside a text, escapes
/// that do not decode. Errors that are reported instead are NSError values.
class KORVANE_EXPORT NSException : public std::exception {
 public:
  NSException(std::string name, std::string reason)
      : name_(std::move(name)), reason_(std::move(reason)) {}

  /// The kind of failure, one of the names above.
  const std::string& name() const noexcept { return name_; }
  /// What happened, for people; this is also the exception's text in a log line. UTF-8.
  const std::string& reason() const noexcept { return reason_; }
  const char* what() const noexcept override { return reason_.c_str(); }

 private:
  std::string name_;
  std::string reason_;
};

/// Gives back what `use` returns; the reason of an NSException that it raises gets `subject` (the
/// name of a key, say) and ": " in front.
template <class Use>
decltype(auto) raisingFor(std::string_view subject, const Use& use) {
  try {
    return use();
  } catch (const NSException& exception) {
    throw NSException(exception.name(), std::string(subject) + ": " + exception.reason());
  }
}

}  // namespace korvane
