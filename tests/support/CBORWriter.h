#pragma once

// Writes CBOR for tests, as plainly as RFC 8949 allows, so that it can be checked by eye.

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "formats/cbor/CBOR.h"
#include "text/UTF8.h"

namespace korvane::testing {

/// Which of the encodings of an item is written.
enum class CBORStyle {
  shortest,   ///< lengths and integers in as few bytes as they need; floats in eight
  longest,    ///< lengths and integers in eight bytes
  openEnded,  ///< strings (in pieces of one character or byte), arrays and maps without a length
};

class CBORWriter {
 public:
  static std::string write(const CBORItem& item, CBORStyle style = CBORStyle::shortest) {
    CBORWriter writer(style);
    writer.add(item);
    return writer.out_;
  }

 private:
  explicit CBORWriter(CBORStyle style) : style_(style) {}

  void add(const CBORItem& item) {
    std::visit([this](const auto& value) { add(value); }, item.value);
  }
  void add(std::uint64_t number) { head(0, number); }
  void add(const CBORNegative& number) { head(1, number.offset); }
  void add(const CBORBytes& bytes) {
    if (style_ != CBORStyle::openEnded) return string(2, bytes.bytes);
    open(2);
    for (const char byte : bytes.bytes) string(2, {&byte, 1});
    close();
  }
  void add(const std::string& text) {
    if (style_ != CBORStyle::openEnded) return string(3, text);
    open(3);
    for (std::string_view rest = text; !rest.empty();) {
      const std::size_t size = firstUTF8Character(rest).size;
      string(3, rest.substr(0, size));
      rest.remove_prefix(size);
    }
    close();
  }
  void add(const CBORItem::Array& array) {
    begin(4, array.size());
    for (const CBORItem& element : array) add(element);
    end();
  }
  void add(const CBORItem::Map& map) {
    begin(5, map.size());
    for (const auto& [key, value] : map) {
      add(key);
      add(value);
    }
    end();
  }
  void add(const CBORTagged& tagged) {
    head(6, tagged.tag);
    add(*tagged.content);
  }
  void add(const CBORSimple& simple) {
    if (simple.number >= 24) out_ += '\xF8';
    out_ += static_cast<char>(simple.number >= 24 ? simple.number : 0xE0 | simple.number);
  }
  void add(double number) {
    out_ += '\xFB';
    bigEndian(std::bit_cast<std::uint64_t>(number), 8);
  }

  void string(int major, std::string_view bytes) {
    head(major, bytes.size());
    out_ += bytes;
  }
  void begin(int major, std::size_t count) {
    style_ == CBORStyle::openEnded ? open(major) : head(major, count);
  }
  void end() {
    if (style_ == CBORStyle::openEnded) close();
  }
  void open(int major) { out_ += static_cast<char>(major << 5 | 31); }
  void close() { out_ += '\xFF'; }
  void head(int major, std::uint64_t argument) {
    const bool isLong = style_ == CBORStyle::longest;
    if (argument < 24 && !isLong) {
      out_ += static_cast<char>(major << 5 | static_cast<int>(argument));
      return;
    }
    int info = 27;
    if (!isLong) info = argument <= 0xFF ? 24 : argument <= 0xFFFF ? 25 : argument >> 32 ? 27 : 26;
    out_ += static_cast<char>(major << 5 | info);
    bigEndian(argument, 1 << (info - 24));
  }
  void bigEndian(std::uint64_t number, int bytes) {
    while (bytes-- > 0) out_ += static_cast<char>(number >> (8 * bytes));
  }

  const CBORStyle style_;
  std::string out_;
};

}  // namespace korvane::testing
