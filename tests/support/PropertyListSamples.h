#pragma once

// Property lists in the shapes that tests of their readers write and show them in.

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/plist/PropertyListBytes.h"
#include "platform/Value.h"
#include "support/PropertyListWriter.h"

namespace korvane::testing {

/// What a document reads as whose root element is this one.
inline std::optional<Value> readXML(std::string_view root) {
  return propertyListFromBytes(xmlDocument(root));
}

/// What a binary file of these objects reads as; references have one byte, the first is the root.
inline std::optional<Value> readObjects(const std::vector<std::string>& objects) {
  return propertyListFromBytes(BinaryWriter::file(objects, 0, 1));
}

inline std::string bytes(std::initializer_list<int> values) {
  std::string text;
  for (const int value : values) text += static_cast<char>(value);
  return text;
}

inline std::string repeated(std::string_view text, std::size_t times) {
  std::string out;
  out.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) out += text;
  return out;
}

/// A read value's text form.
inline std::string shown(const std::optional<Value>& value) {
  return value ? value->description() : "(malformed)";
}

/// Of a text or data.
template <class Bytes>
std::string hexadecimal(const Bytes& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const auto b : bytes) {
    const auto byte = static_cast<unsigned char>(b);
    text += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return text;
}

}  // namespace korvane::testing
