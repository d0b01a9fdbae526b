#include "host/JSONWriter.h"

#include "text/PrintableText.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

void appendEscape(char32_t code, std::string& json) {
  static constexpr char kDigits[] = "0123456789abcdef";
  json += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) json += kDigits[(code >> shift) & 15];
}

}  // namespace

JSONWriter& JSONWriter::key(std::string_view key) {
  text(key);
  output_ << ": ";
  isAfterKey_ = true;
  return *this;
}

JSONWriter& JSONWriter::text(std::string_view text) { return literal(jsonString(text)); }

JSONWriter& JSONWriter::literal(std::string_view json) {
  separate();
  output_ << json;
  return *this;
}

JSONWriter& JSONWriter::begin(char bracket) {
  separate();
  output_ << std::string_view(&bracket, 1);
  isFirst_ = true;
  return *this;
}

JSONWriter& JSONWriter::end(char bracket) {
  output_ << std::string_view(&bracket, 1);
  isFirst_ = false;
  return *this;
}

void JSONWriter::separate() {
  if (!isFirst_ && !isAfterKey_) output_ << ", ";
  isFirst_ = isAfterKey_ = false;
}

std::string jsonString(std::string_view text) {
  std::string json = "\"";
  json.reserve(text.size() + 2);
  while (!text.empty()) {
    const UTF8Character first = firstUTF8Character(text);
    if (!first.isValid) {
      json += kReplacementUTF8;
    } else if (first.code == '"' || first.code == '\\') {
      json += '\\';
      json += static_cast<char>(first.code);
    } else if (first.code == '\n') {
      json += "\\n";
    } else if (first.code == '\t') {
      json += "\\t";
    } else if (isSteering(first.code)) {
      appendEscape(first.code, json);
    } else {
      json += text.substr(0, first.size);
    }
    text.remove_prefix(first.size);
  }
  return json + '"';
}

}  // namespace korvane
