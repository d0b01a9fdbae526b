#pragma once

// Writes property lists in both forms, for tests: as plainly as the formats allow, so that it can
// be checked by eye. Texts must be UTF-8.

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Value.h"

namespace korvane::testing {

inline constexpr std::string_view kXMLHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
inline constexpr std::string_view kXMLTail = "\n</plist>\n";

/// A whole document around the text of its root element.
inline std::string xmlDocument(std::string_view root) {
  return std::string(kXMLHead) + std::string(root) + std::string(kXMLTail);
}

class XMLWriter {
 public:
  static std::string write(const Value& value) {
    XMLWriter writer;
    writer.add(value);
    return xmlDocument(writer.out_);
  }
  static std::string base64(const NSData& data) {
    static constexpr char kAlphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < data.size(); i += 3) {
      std::uint32_t group = 0;
      for (std::size_t j = 0; j < 3; ++j)
        group = group << 8 | (i + j < data.size() ? data[i + j] : 0);
      for (std::size_t j = 0; j < 4; ++j) {
        text += i + j <= data.size() ? kAlphabet[group >> (18 - 6 * j) & 63] : '=';
      }
    }
    return text;
  }

 private:
  void element(std::string_view name, std::string_view content) {
    out_.append("<").append(name).append(">");
    out_.append(content).append("</").append(name).append(">");
  }
  static std::string escaped(std::string_view text) {
    std::string out;
    for (const char c : text) {
      if (c == '<') {
        out += "&lt;";
      } else if (c == '&') {
        out += "&amp;";
      } else {
        out += c;
      }
    }
    return out;
  }
  static std::string number(const Value& value) {
    if (!value.isReal()) return std::to_string(value.integerValue());
    const double real = value.doubleValue();
    if (std::isnan(real)) return "nan";
    if (std::isinf(real)) return real < 0 ? "-infinity" : "+infinity";
    std::array<char, 64> buffer{};
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), real).ptr;
    return {buffer.data(), end};
  }
  static std::string date(NSDate date) {
    std::string text = Value(date).description();  // "2016-11-16 12:30:00 +0000"
    text.resize(text.size() - 6);
    text[text.size() - 9] = 'T';
    return text + "Z";
  }
  void add(const Value& value) {
    switch (value.kind()) {
      case Value::Kind::text:
        return element("string", escaped(value.text()));
      case Value::Kind::number:
        return element(value.isReal() ? "real" : "integer", number(value));
      case Value::Kind::boolean:
        out_ += value.boolValue() ? "<true/>" : "<false/>";
        return;
      case Value::Kind::date:
        return element("date", date(value.date()));
      case Value::Kind::data:
        return element("data", base64(value.data()));
      case Value::Kind::list:
        out_ += "<array>";
        for (const Value& member : value.list()) add(member);
        out_ += "</array>\n";
        return;
      case Value::Kind::dictionary:
        out_ += "<dict>";
        for (const auto [key, member] : value.dictionary()) {
          element("key", escaped(key));
          add(member);
        }
        out_ += "</dict>\n";
        return;
      default:
        throw std::runtime_error("no property list holds this");
    }
  }

  std::string out_;
};

/// How a binary file is laid out.
struct BinaryLayout {
  bool shareTexts = true;        // equal texts become one object
  bool shareContainers = false;  // as do equal lists and dictionaries
};

class BinaryWriter {
 public:
  static std::string write(const Value& value, BinaryLayout layout = {}) {
    BinaryWriter writer;
    writer.layout_ = layout;
    const std::size_t root = writer.add(value);
    return writer.finish(root);
  }

  // An integer of any width, the most significant byte first.
  static std::string bigEndian(std::uint64_t number, std::size_t width) {
    std::string bytes(width, '\0');
    for (std::size_t i = 0; i < width; ++i, number >>= 8) {
      bytes[width - 1 - i] = static_cast<char>(number);
    }
    return bytes;
  }
  static std::size_t widthFor(std::uint64_t number) {
    return number < 0x100 ? 1 : number < 0x10000 ? 2 : number < 0x100000000 ? 4 : 8;
  }
  static std::string marker(unsigned kind, std::uint64_t count) {
    if (count < 15) return {static_cast<char>(kind << 4 | count)};
    const std::size_t width = widthFor(count);
    return std::string{static_cast<char>(kind << 4 | 15),
                       static_cast<char>(0x10 | std::countr_zero(width))} +
           bigEndian(count, width);
  }
  /// A file of objects that are ready, references included.
  static std::string file(const std::vector<std::string>& objects, std::size_t root,
                          std::size_t referenceWidth) {
    std::string out = "bplist00";
    std::vector<std::size_t> offsets;
    for (const std::string& object : objects) {
      offsets.push_back(out.size());
      out += object;
    }
    const std::size_t table = out.size();
    const std::size_t offsetWidth = widthFor(table);
    for (const std::size_t offset : offsets) out += bigEndian(offset, offsetWidth);
    out +=
        std::string(6, '\0') + static_cast<char>(offsetWidth) + static_cast<char>(referenceWidth);
    return out + bigEndian(objects.size(), 8) + bigEndian(root, 8) + bigEndian(table, 8);
  }

 private:
  struct Object {
    std::string head;  // all of it for a scalar
    std::vector<std::size_t> members;
  };

  std::size_t insert(Object object, bool share) {
    if (share) {
      std::string key = object.head + '|';
      for (const std::size_t member : object.members) key += std::to_string(member) + ',';
      const auto [at, isNew] = known_.emplace(std::move(key), objects_.size());
      if (!isNew) return at->second;
    }
    objects_.push_back(std::move(object));
    return objects_.size() - 1;
  }

  static std::string text(std::string_view utf8) {
    std::vector<std::uint16_t> units;
    bool isASCII = true;
    for (std::size_t i = 0; i < utf8.size();) {
      const auto lead = static_cast<unsigned char>(utf8[i]);
      const std::size_t size = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
      std::uint32_t code = size == 1 ? lead : lead & (0xFFU >> (size + 1));
      for (std::size_t j = 1; j < size; ++j) {
        code = code << 6 | (static_cast<unsigned char>(utf8.at(i + j)) & 0x3F);
      }
      i += size;
      isASCII = isASCII && code < 0x80;
      if (code >= 0x10000) {
        units.push_back(static_cast<std::uint16_t>(0xD800 + ((code - 0x10000) >> 10)));
        code = 0xDC00 + ((code - 0x10000) & 0x3FF);
      }
      units.push_back(static_cast<std::uint16_t>(code));
    }
    if (isASCII) return marker(5, utf8.size()) + std::string(utf8);
    std::string out = marker(6, units.size());
    for (const std::uint16_t unit : units) out += bigEndian(unit, 2);
    return out;
  }

  static std::string scalar(const Value& value) {
    switch (value.kind()) {
      case Value::Kind::absent:
        return std::string(1, '\0');
      case Value::Kind::text:
        return text(value.text());
      case Value::Kind::number: {
        if (value.isReal()) {
          return "\x23" + bigEndian(std::bit_cast<std::uint64_t>(value.doubleValue()), 8);
        }
        const auto number = static_cast<std::uint64_t>(value.integerValue());
        const std::size_t width = widthFor(number);
        return std::string{static_cast<char>(0x10 | std::countr_zero(width))} +
               bigEndian(number, width);
      }
      case Value::Kind::boolean:
        return value.boolValue() ? "\x09" : "\x08";
      case Value::Kind::date:
        return "\x33" +
               bigEndian(
                   std::bit_cast<std::uint64_t>(value.date().timeIntervalSince1970 - 978307200), 8);
      case Value::Kind::data:
        return marker(4, value.data().size()) +
               std::string(value.data().begin(), value.data().end());
      default:
        throw std::runtime_error("no property list holds this");
    }
  }

  std::size_t add(const Value& value) {
    Object object;
    if (value.isList()) {
      object.head = marker(0xA, value.list().size());
      for (const Value& member : value.list()) object.members.push_back(add(member));
    } else if (value.isDictionary()) {
      object.head = marker(0xD, value.dictionary().size());
      for (const auto [key, member] : value.dictionary()) {
        object.members.push_back(insert({text(key), {}}, true));
      }
      for (const auto [key, member] : value.dictionary()) object.members.push_back(add(member));
    } else {
      return insert({scalar(value), {}}, layout_.shareTexts);
    }
    return insert(std::move(object), layout_.shareContainers);
  }

  std::string finish(std::size_t root) const {
    const std::size_t width = widthFor(objects_.size());
    std::vector<std::string> bytes;
    for (const Object& object : objects_) {
      std::string all = object.head;
      for (const std::size_t member : object.members) all += bigEndian(member, width);
      bytes.push_back(std::move(all));
    }
    return file(bytes, root, width);
  }

  BinaryLayout layout_;
  std::vector<Object> objects_;
  std::map<std::string, std::size_t> known_;
};

}  // namespace korvane::testing
