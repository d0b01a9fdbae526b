#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// CBOR, the binary cousin of JSON (RFC 8949).
namespace korvane {

struct CBORItem;
struct CBOREntry;

/// An integer below zero: -1 minus `offset`, which reaches down to -2^64.
struct CBORNegative {
  std::uint64_t offset = 0;
  friend auto operator<=>(const CBORNegative&, const CBORNegative&) = default;
};

/// A simple value by its number.
struct CBORSimple {
  std::uint8_t number = 0;
  friend auto operator<=>(const CBORSimple&, const CBORSimple&) = default;
};
inline constexpr CBORSimple kCBORFalse{20};
inline constexpr CBORSimple kCBORTrue{21};
inline constexpr CBORSimple kCBORNull{22};
inline constexpr CBORSimple kCBORUndefined{23};

/// A byte string.
struct CBORBytes {
  std::string bytes;
  friend auto operator<=>(const CBORBytes&, const CBORBytes&) = default;
};

/// An item that a tag says more of; `content` is never null.
struct CBORTagged {
  std::uint64_t tag = 0;
  std::shared_ptr<const CBORItem> content;
};

/// One data item. Texts are UTF-8; the entries of a map stand in the order of the bytes, and no key
/// stands twice. A floating-point number of any width is a double.
struct CBORItem {
  using Array = std::vector<CBORItem>;
  using Map = std::vector<CBOREntry>;

  std::variant<std::uint64_t, CBORNegative, CBORBytes, std::string, Array, Map, CBORTagged,
               CBORSimple, double>
      value;

  /// What a map has under a text; null where this is no map or has no such key.
  const CBORItem* find(std::string_view key) const;
  /// The text, the array or the content, whatever tags stand before it; null where it is another
  /// kind of item.
  const std::string* text() const;
  const Array* array() const;
  const CBORItem& untagged() const;
};

/// One entry of a map.
struct CBOREntry {
  CBORItem key;
  CBORItem value;
};

/// An order of items, for sorting. Items are equivalent where they have the same kind and value;
/// all NaNs are, and zero and minus zero are not.
std::weak_ordering compare(const CBORItem& a, const CBORItem& b);
inline bool operator==(const CBORItem& a, const CBORItem& b) { return compare(a, b) == 0; }

/// Arrays, maps and tags inside one another beyond this many make the bytes malformed; and so do
/// more items in all.
inline constexpr std::size_t kMaxCBORDepth = 64;
inline constexpr std::size_t kMaxCBORItems = 1'000'000;

/// The one data item that the bytes are, in any encoding that RFC 8949 allows: lengths longer than
/// needed, and strings, arrays and maps without a length. Nothing where they are not well-formed or
/// not valid (a text, or a piece of one, that is not UTF-8; a key that stands twice), where
/// something follows the item, and beyond the bounds above. Any thread may call; the memory taken
/// is in proportion to the bytes.
std::optional<CBORItem> readCBOR(std::string_view bytes);

}  // namespace korvane
