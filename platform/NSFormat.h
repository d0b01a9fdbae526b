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

/// One argument of a format: anything that has a text form.
class KORVANE_EXPORT FormatArgument {
 public:
  FormatArgument(std::string_view text) : text_(text) {}
  FormatArgument(const std::string& text) : text_(text) {}
  FormatArgument(const char* text) : text_(text) {}
  FormatArgument(std::integral auto number) : text_(std::to_string(number)) {}
  FormatArgument(const Value& value) : text_(value.description()) {}
  FormatArgument(const NSError& error) : text_(error.description()) {}
  FormatArgument(const NSException& exception) : text_(exception.reason()) {}
  FormatArgument(bool) = delete;  // neither "1" nor "true" by chance
  /// An absent object shows as "(null)".
  template <class T>
  FormatArgument(const std::optional<T>& object)
      : text_(object ? FormatArgument(*object).text_ : std::string("(null)")) {}

  const std::string& text() const { return text_; }

 private:
  std::string text_;
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
