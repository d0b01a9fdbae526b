#include "formats/cbor/CBOR.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

#include "text/UTF8.h"

namespace korvane {
namespace {

/// The bytes are not what they should be.
struct Malformed {};

/// The first three bits of an item.
enum Major : std::uint8_t { kUnsigned, kNegative, kBytes, kText, kArray, kMap, kTag, kOther };

/// What the other five bits say beyond a number below 24.
constexpr std::uint8_t kOneByte = 24;
constexpr std::uint8_t kEightBytes = 27;
constexpr std::uint8_t kNoLength = 31;
constexpr std::uint8_t kBreak = 0xFF;

/// The number of a float of 16 bits.
double halfFloat(std::uint64_t bits) {
  constexpr int kFractionBits = 10;
  constexpr int kBias = 15;
  constexpr std::uint64_t kMaxExponent = 0x1F;
  const auto fraction = static_cast<double>(bits & ((1U << kFractionBits) - 1));
  const auto exponent = static_cast<int>((bits >> kFractionBits) & kMaxExponent);
  double value = 0;
  if (exponent == 0) {
    value = std::ldexp(fraction, 1 - kBias - kFractionBits);
  } else if (exponent == kMaxExponent) {
    value = fraction == 0 ? HUGE_VAL : std::nan("");
  } else {
    value = std::ldexp(fraction + (1U << kFractionBits), exponent - kBias - kFractionBits);
  }
  return (bits & 0x8000U) != 0 ? -value : value;
}

class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  CBORItem readWhole() {
    CBORItem item = read(0);
    if (!rest_.empty()) throw Malformed();
    return item;
  }

 private:
  /// How an item begins.
  struct Head {
    Major major;
    std::uint8_t info;
    std::uint64_t argument;
    bool hasNoLength() const { return info == kNoLength; }
  };

  CBORItem read(std::size_t depth) {
    if (++items_ > kMaxCBORItems) throw Malformed();
    const Head head = readHead();
    switch (head.major) {
      case kUnsigned:
        return {needed(head)};
      case kNegative:
        return {CBORNegative{needed(head)}};
      case kBytes:
        return {CBORBytes{readString(head)}};
      case kText:
        return {readString(head)};
      case kArray:
        return {readArray(head, inside(depth))};
      case kMap:
        return {readMap(head, inside(depth))};
      case kTag:
        return {CBORTagged{needed(head), std::make_shared<CBORItem>(read(inside(depth)))}};
      case kOther:
        break;
    }
    return readOther(head);
  }

  static std::size_t inside(std::size_t depth) {
    if (depth >= kMaxCBORDepth) throw Malformed();
    return depth + 1;
  }

  /// The argument of an item that cannot do without.
  static std::uint64_t needed(const Head& head) {
    if (head.hasNoLength()) throw Malformed();
    return head.argument;
  }

  Head readHead() {
    const std::uint8_t first = takeByte();
    Head head{static_cast<Major>(first >> 5), static_cast<std::uint8_t>(first & 0x1F), 0};
    if (head.info < kOneByte) {
      head.argument = head.info;
    } else if (head.info <= kEightBytes) {
      for (int i = 1 << (head.info - kOneByte); i > 0; --i) {
        head.argument = head.argument << 8 | takeByte();
      }
    } else if (!head.hasNoLength()) {
      throw Malformed();
    }
    return head;
  }

  std::uint8_t takeByte() { return static_cast<std::uint8_t>(take(1).front()); }

  std::string_view take(std::uint64_t count) {
    if (count > rest_.size()) throw Malformed();
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return taken;
  }

  bool takeBreak() {
    if (rest_.empty()) throw Malformed();
    if (static_cast<std::uint8_t>(rest_.front()) != kBreak) return false;
    rest_.remove_prefix(1);
    return true;
  }

  std::string readString(const Head& head) {
    if (!head.hasNoLength()) return std::string(readPiece(head));
    std::string whole;
    while (!takeBreak()) {
      const Head piece = readHead();
      if (piece.major != head.major) throw Malformed();
      needed(piece);
      whole += readPiece(piece);
    }
    return whole;
  }

  std::string_view readPiece(const Head& head) {
    const std::string_view piece = take(head.argument);
    if (head.major == kText && !isValidUTF8(piece)) throw Malformed();
    return piece;
  }

  /// Reads the elements with `readOne`, as many as there are to be.
  template <class ReadOne>
  void readElements(const Head& head, ReadOne readOne) {
    if (head.hasNoLength()) {
      while (!takeBreak()) readOne();
      return;
    }
    // An element has a byte at least; no memory is taken for what cannot come.
    if (head.argument > rest_.size()) throw Malformed();
    for (std::uint64_t i = 0; i < head.argument; ++i) readOne();
  }

  CBORItem::Array readArray(const Head& head, std::size_t depth) {
    CBORItem::Array array;
    readElements(head, [&] { array.push_back(read(depth)); });
    return array;
  }

  CBORItem::Map readMap(const Head& head, std::size_t depth) {
    CBORItem::Map map;
    readElements(head, [&] {
      CBORItem key = read(depth);
      map.push_back({std::move(key), read(depth)});
    });
    std::vector<const CBORItem*> keys;
    keys.reserve(map.size());
    for (const auto& [key, value] : map) keys.push_back(&key);
    std::ranges::sort(keys, [](auto* a, auto* b) { return compare(*a, *b) < 0; });
    if (std::ranges::adjacent_find(keys, [](auto* a, auto* b) { return *a == *b; }) != keys.end()) {
      throw Malformed();
    }
    return map;
  }

  static CBORItem readOther(const Head& head) {
    constexpr std::uint8_t kFirstOfTwoBytes = 32;
    constexpr std::uint8_t kHalf = 25;
    constexpr std::uint8_t kSingle = 26;
    switch (head.info) {
      case kOneByte:
        if (head.argument < kFirstOfTwoBytes) throw Malformed();
        break;
      case kHalf:
        return {halfFloat(head.argument)};
      case kSingle:
        return {double{std::bit_cast<float>(static_cast<std::uint32_t>(head.argument))}};
      case kEightBytes:
        return {std::bit_cast<double>(head.argument)};
      default:
        break;
    }
    return {CBORSimple{static_cast<std::uint8_t>(needed(head))}};
  }

  std::string_view rest_;
  std::size_t items_ = 0;
};

/// The order of two values of one kind.
template <class Value>
std::weak_ordering order(const Value& a, const Value& b) {
  return a <=> b;
}

std::weak_ordering order(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) <=> std::isnan(b);
  return std::bit_cast<std::uint64_t>(a) <=> std::bit_cast<std::uint64_t>(b);
}

std::weak_ordering order(const CBORItem::Array& a, const CBORItem::Array& b) {
  return std::lexicographical_compare_three_way(a.begin(), a.end(), b.begin(), b.end(), compare);
}

std::weak_ordering order(const CBORItem::Map& a, const CBORItem::Map& b) {
  return std::lexicographical_compare_three_way(
      a.begin(), a.end(), b.begin(), b.end(), [](const auto& x, const auto& y) {
        const auto keys = compare(x.key, y.key);
        return keys != 0 ? keys : compare(x.value, y.value);
      });
}

std::weak_ordering order(const CBORTagged& a, const CBORTagged& b) {
  return a.tag != b.tag ? a.tag <=> b.tag : compare(*a.content, *b.content);
}

}  // namespace

std::weak_ordering compare(const CBORItem& a, const CBORItem& b) {
  if (a.value.index() != b.value.index()) return a.value.index() <=> b.value.index();
  return std::visit(
      [&](const auto& value) {
        return order(value, std::get<std::decay_t<decltype(value)>>(b.value));
      },
      a.value);
}

const CBORItem& CBORItem::untagged() const {
  const CBORItem* item = this;
  while (const auto* tagged = std::get_if<CBORTagged>(&item->value)) item = tagged->content.get();
  return *item;
}

const CBORItem* CBORItem::find(std::string_view key) const {
  const auto* map = std::get_if<Map>(&untagged().value);
  if (!map) return nullptr;
  for (const auto& [name, item] : *map) {
    const auto* text = std::get_if<std::string>(&name.value);
    if (text && *text == key) return &item;
  }
  return nullptr;
}

const std::string* CBORItem::text() const { return std::get_if<std::string>(&untagged().value); }

const CBORItem::Array* CBORItem::array() const { return std::get_if<Array>(&untagged().value); }

std::optional<CBORItem> readCBOR(std::string_view bytes) {
  try {
    return Reader(bytes).readWhole();
  } catch (const Malformed&) {
    return std::nullopt;
  }
}

}  // namespace korvane
