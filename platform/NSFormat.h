#pragma once

#include <concepts>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/NSError.h"
#include "platform/NSException.h"
#include "platform/Value.h"

namespace korvane {

/// One argument of a format: anything that has a text form. A text is referred to, not copied, and
/// must live as long as the argument.
class KORVANE_EXPORT FormatArgument {
 public:
  FormatArgument(std::string_view text) : text_(text) {}
  FormatArgument(const std::string& text) : text_(text) {}
  FormatArgument(const char* text) : text_(text ? text : "(null)") {}
  FormatArgument(std::integral auto number) : own_(std::to_string(number)), text_(own_) {}
  FormatArgument(const Value& value)
      : own_(value.isText() ? std::string() : value.description()),
        text_(value.isText() ? value.text() : own_) {}
  FormatArgument(const NSError& error) : own_(error.description()), text_(own_) {}
  FormatArgument(const NSException& exception) : text_(exception.reason()) {}
  FormatArgument(bool) = delete;  // neither "1" nor "true" by chance
  /// An absent object shows as "(null)".
  template <class T>
  FormatArgument(const std::optional<T>& object)
      : own_(object ? FormatArgument(*object).text() : "(null)"), text_(own_) {}
  FormatArgument(const FormatArgument&) = delete;
  FormatArgument& operator=(const FormatArgument&) = delete;

  std::string_view text() const { return text_; }

 private:
  std::string own_;  // the text where the argument had none itself
  std::string_view text_;
};

/// Fills a format's placeholders ("%@", "%lu", "%i"; "%%" is a percent sign) with the arguments, in
/// order. A placeholder without an argument stays as it is. What an argument holds is never read as
/// a format.
KORVANE_EXPORT std::string stringWithFormat(std::string_view format,
                                            std::initializer_list<FormatArgument> arguments);

template <class... Arguments>
std::string stringWithFormat(std::string_view format, const Arguments&... arguments) {
  return stringWithFormat(format, {FormatArgument(arguments)...});
}

}  // namespace korvane
