#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/Output.h"

namespace korvane {

/// Writes JSON (RFC 8259) piece by piece: members and elements are parted by ", ", keys and values
/// by ": ". Who calls sees to it that what is begun is ended.
class JSONWriter {
 public:
  explicit JSONWriter(Output& output) : output_(output) {}

  JSONWriter& beginObject() { return begin('{'); }
  JSONWriter& endObject() { return end('}'); }
  JSONWriter& beginList() { return begin('['); }
  JSONWriter& endList() { return end(']'); }
  /// The key of the member that comes next.
  JSONWriter& key(std::string_view key);
  JSONWriter& text(std::string_view text);
  /// null where it is absent.
  JSONWriter& textOrNull(const std::optional<std::string>& value) {
    return value ? text(*value) : null();
  }
  JSONWriter& number(std::int64_t number) { return literal(std::to_string(number)); }
  JSONWriter& boolean(bool value) { return literal(value ? "true" : "false"); }
  JSONWriter& null() { return literal("null"); }
  /// A value that is JSON already.
  JSONWriter& literal(std::string_view json);

 private:
  JSONWriter& begin(char bracket);
  JSONWriter& end(char bracket);
  void separate();

  Output& output_;
  bool isFirst_ = true;
  bool isAfterKey_ = false;
};

/// A text as a JSON string with its quotes: lossless for every UTF-8 text, with what steers a
/// terminal escaped (isSteering), so that it can be shown there too. What is not UTF-8 becomes
/// U+FFFD.
std::string jsonString(std::string_view text);

}  // namespace korvane
