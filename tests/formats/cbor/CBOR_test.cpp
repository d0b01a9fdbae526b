#include "formats/cbor/CBOR.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/CBORWriter.h"

namespace korvane {
namespace {

using testing::CBORStyle;
using testing::CBORWriter;

std::string fromHex(std::string_view hex) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
  }
  return bytes;
}

CBORItem number(std::uint64_t value) { return {value}; }
CBORItem text(std::string value) { return {std::move(value)}; }
CBORItem bytes(std::string_view hex) { return {CBORBytes{fromHex(hex)}}; }
CBORItem array(CBORItem::Array items) { return {std::move(items)}; }
CBORItem map(CBORItem::Map entries) { return {std::move(entries)}; }
CBORItem tagged(std::uint64_t tag, CBORItem content) {
  return {CBORTagged{tag, std::make_shared<CBORItem>(std::move(content))}};
}

struct Row {
  std::string hex;
  CBORItem item;
};

CBORItem upTo25() {
  CBORItem::Array items;
  for (std::uint64_t i = 1; i <= 25; ++i) items.push_back(number(i));
  return array(items);
}

// RFC 8949, appendix A.
const std::vector<Row>& examples() {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const double nan = std::nan("");
  static const std::vector<Row> rows{
      {"00", number(0)},
      {"01", number(1)},
      {"0a", number(10)},
      {"17", number(23)},
      {"1818", number(24)},
      {"1819", number(25)},
      {"1864", number(100)},
      {"1903e8", number(1000)},
      {"1a000f4240", number(1000000)},
      {"1b000000e8d4a51000", number(1000000000000)},
      {"1bffffffffffffffff", number(18446744073709551615U)},
      {"c249010000000000000000", tagged(2, bytes("010000000000000000"))},
      {"3bffffffffffffffff", {CBORNegative{18446744073709551615U}}},
      {"c349010000000000000000", tagged(3, bytes("010000000000000000"))},
      {"20", {CBORNegative{0}}},
      {"29", {CBORNegative{9}}},
      {"3863", {CBORNegative{99}}},
      {"3903e7", {CBORNegative{999}}},
      {"f90000", {0.0}},
      {"f98000", {-0.0}},
      {"f93c00", {1.0}},
      {"fb3ff199999999999a", {1.1}},
      {"f93e00", {1.5}},
      {"f97bff", {65504.0}},
      {"fa47c35000", {100000.0}},
      {"fa7f7fffff", {3.4028234663852886e+38}},
      {"fb7e37e43c8800759c", {1.0e+300}},
      {"f90001", {5.960464477539063e-8}},
      {"f90400", {0.00006103515625}},
      {"f9c400", {-4.0}},
      {"fbc010666666666666", {-4.1}},
      {"f97c00", {kInfinity}},
      {"f97e00", {nan}},
      {"f9fc00", {-kInfinity}},
      {"fa7f800000", {kInfinity}},
      {"fa7fc00000", {nan}},
      {"faff800000", {-kInfinity}},
      {"fb7ff0000000000000", {kInfinity}},
      {"fb7ff8000000000000", {nan}},
      {"fbfff0000000000000", {-kInfinity}},
      {"f4", {kCBORFalse}},
      {"f5", {kCBORTrue}},
      {"f6", {kCBORNull}},
      {"f7", {kCBORUndefined}},
      {"f0", {CBORSimple{16}}},
      {"f8ff", {CBORSimple{255}}},
      {"c074323031332d30332d32315432303a30343a30305a", tagged(0, text("2013-03-21T20:04:00Z"))},
      {"c11a514b67b0", tagged(1, number(1363896240))},
      {"c1fb41d452d9ec200000", tagged(1, {1363896240.5})},
      {"d74401020304", tagged(23, bytes("01020304"))},
      {"d818456449455446", tagged(24, bytes("6449455446"))},
      {"d82076687474703a2f2f7777772e6578616d706c652e636f6d",
       tagged(32, text("http://www.example.com"))},
      {"40", bytes("")},
      {"4401020304", bytes("01020304")},
      {"60", text("")},
      {"6161", text("a")},
      {"6449455446", text("IETF")},
      {"62225c", text("\"\\")},
      {"62c3bc", text("\u00fc")},
      {"63e6b0b4", text("\u6c34")},
      {"64f0908591", text("\U00010151")},
      {"80", array({})},
      {"83010203", array({number(1), number(2), number(3)})},
      {"8301820203820405",
       array({number(1), array({number(2), number(3)}), array({number(4), number(5)})})},
      {"98190102030405060708090a0b0c0d0e0f101112131415161718181819", upTo25()},
      {"a0", map({})},
      {"a201020304", map({{number(1), number(2)}, {number(3), number(4)}})},
      {"a26161016162820203",
       map({{text("a"), number(1)}, {text("b"), array({number(2), number(3)})}})},
      {"826161a161626163", array({text("a"), map({{text("b"), text("c")}})})},
      {"a56161614161626142616361436164614461656145", map({{text("a"), text("A")},
                                                          {text("b"), text("B")},
                                                          {text("c"), text("C")},
                                                          {text("d"), text("D")},
                                                          {text("e"), text("E")}})},
      {"5f42010243030405ff", bytes("0102030405")},
      {"7f657374726561646d696e67ff", text("streaming")},
      {"9fff", array({})},
      {"9f018202039f0405ffff",
       array({number(1), array({number(2), number(3)}), array({number(4), number(5)})})},
      {"9f01820203820405ff",
       array({number(1), array({number(2), number(3)}), array({number(4), number(5)})})},
      {"83018202039f0405ff",
       array({number(1), array({number(2), number(3)}), array({number(4), number(5)})})},
      {"83019f0203ff820405",
       array({number(1), array({number(2), number(3)}), array({number(4), number(5)})})},
      {"9f0102030405060708090a0b0c0d0e0f101112131415161718181819ff", upTo25()},
      {"bf61610161629f0203ffff",
       map({{text("a"), number(1)}, {text("b"), array({number(2), number(3)})}})},
      {"826161bf61626163ff", array({text("a"), map({{text("b"), text("c")}})})},
      {"bf6346756ef563416d7421ff",
       map({{text("Fun"), {kCBORTrue}}, {text("Amt"), {CBORNegative{1}}}})},
  };
  return rows;
}

TEST(CBOR, TheExamplesOfTheStandard) {
  for (const Row& row : examples()) {
    const auto item = readCBOR(fromHex(row.hex));
    ASSERT_TRUE(item.has_value()) << row.hex;
    EXPECT_TRUE(*item == row.item) << row.hex;
  }
}

TEST(CBOR, APieceOfAnItemIsNotAnItem) {
  for (const Row& row : examples()) {
    const std::string whole = fromHex(row.hex);
    for (std::size_t size = 0; size < whole.size(); ++size) {
      EXPECT_FALSE(readCBOR(whole.substr(0, size))) << row.hex << " up to " << size;
    }
    EXPECT_FALSE(readCBOR(whole + '\0')) << row.hex;
  }
}

// RFC 8949, appendix F, and what makes well-formed bytes invalid.
TEST(CBOR, RefusesWhatIsMalformed) {
  for (const char* hex : {
           "",  // nothing
           "1c",
           "1d",
           "1e",  // reserved
           "3c",
           "5d",
           "7e",
           "9c",
           "bd",
           "de",
           "fc",
           "fd",
           "fe",
           "1f",
           "3f",
           "df",  // numbers and tags cannot be without an end
           "ff",
           "81ff",
           "8200ff",
           "a1ff",
           "a100ff",
           "c0ff",  // a break where there is nothing open
           "bf00ff",
           "bf000000ff",  // a key without a value
           "f800",
           "f818",
           "f81f",  // simple values that have one byte, in two
           "5f00ff",
           "5f6100ff",
           "7f4100ff",
           "5f80ff",  // pieces of another kind
           "5f5f4100ffff",
           "7f7f6100ffff",  // pieces in pieces
           "5f",
           "7f6161",
           "9f",
           "9f01",
           "bf",
           "bf0000",  // no end
           "61",
           "5affffffff00",
           "7bffffffffffffffff0102",
           "9affffffff00",
           "9bffffffffffffffff01",
           "bbffffffffffffffff0101",  // lengths that nothing could have
           "61ff",
           "6180",
           "62c080",
           "63eda080",
           "64f4908080",
           "61c3",          // not UTF-8
           "7f61c361bcff",  // nor are these, each alone
           "a201000100",
           "a2616100616100",  // a key twice
           "bf616100616100ff",
           "a201000801000180",
           "a20100180100",
           "a2616100780161"
           "00",                      // in another encoding
           "a2f97e0000fa7fc0000000",  // not-a-number is one key
           "a280008000",
           "a2a1000100a1000100",
           "a2c10000c10000",
           "0000",  // something behind it
       }) {
    EXPECT_FALSE(readCBOR(fromHex(hex))) << hex;
  }
}

TEST(CBOR, KeysOfAnyKindMayStandSideBySide) {
  // 1, -2, the text "1", the bytes "1", 1.0, [1], {1: 1}, 1(1), true, 0.0, -0.0
  const auto item =
      readCBOR(fromHex("ab0100210061310041310"
                       "0f93c00008101"
                       "00a1010100c10100f500f9000000"
                       "f9800000"));
  ASSERT_TRUE(item.has_value());
  EXPECT_EQ(std::get<CBORItem::Map>(item->value).size(), 11U);
}

std::string nested(std::string_view open, std::size_t depth, std::string_view inner,
                   std::string_view close = "") {
  std::string bytes;
  for (std::size_t i = 0; i < depth; ++i) bytes += open;
  bytes += inner;
  for (std::size_t i = 0; i < depth; ++i) bytes += close;
  return bytes;
}

TEST(CBOR, TheDepthIsBounded) {
  using namespace std::string_view_literals;
  for (const auto& [open, close] :
       {std::pair{"\x81"sv, ""sv}, std::pair{"\x9F"sv, "\xFF"sv}, std::pair{"\xA1\x00"sv, ""sv},
        std::pair{"\xC1"sv, ""sv}, std::pair{"\xBF\x00"sv, "\xFF"sv}}) {
    EXPECT_TRUE(readCBOR(nested(open, kMaxCBORDepth, "\x01", close)));
    EXPECT_FALSE(readCBOR(nested(open, kMaxCBORDepth + 1, "\x01", close)));
    EXPECT_FALSE(readCBOR(nested(open, 10'000'000, "\x01", close)));
  }
  // Inside of keys too.
  EXPECT_TRUE(readCBOR(nested("\xA1", kMaxCBORDepth, std::string(1, '\1'), std::string(1, '\0'))));
  EXPECT_FALSE(
      readCBOR(nested("\xA1", kMaxCBORDepth + 1, std::string(1, '\1'), std::string(1, '\0'))));
}

TEST(CBOR, TheNumberOfItemsIsBounded) {
  // The array is an item itself.
  EXPECT_TRUE(readCBOR("\x9F" + std::string(kMaxCBORItems - 1, '\1') + "\xFF"));
  EXPECT_FALSE(readCBOR("\x9F" + std::string(kMaxCBORItems, '\1') + "\xFF"));
}

TEST(CBOR, FindsWhatAMapHasUnderAText) {
  const auto item =
      readCBOR(fromHex("a4"
                       "6161"
                       "01"
                       "01"
                       "02"
                       "6162"
                       "d8206178"
                       "6163"
                       "c18101"));
  ASSERT_TRUE(item.has_value());
  ASSERT_NE(item->find("a"), nullptr);
  EXPECT_TRUE(*item->find("a") == number(1));
  EXPECT_EQ(item->find("a")->text(), nullptr);
  ASSERT_NE(item->find("b"), nullptr);
  ASSERT_NE(item->find("b")->text(), nullptr);  // behind its tag
  EXPECT_EQ(*item->find("b")->text(), "x");
  EXPECT_EQ(item->find("b")->array(), nullptr);
  ASSERT_NE(item->find("c")->array(), nullptr);
  EXPECT_EQ(item->find("c")->array()->size(), 1U);
  EXPECT_EQ(item->find("d"), nullptr);
  EXPECT_EQ(item->find(""), nullptr);
  EXPECT_EQ(number(1).find("a"), nullptr);
  EXPECT_NE(tagged(55799, *item).find("a"), nullptr);
}

/// Items of any kind, of a size that grows smaller inside.
class RandomItems {
 public:
  CBORItem next(int depth = 5) {
    switch (pick(depth > 0 ? 9 : 6)) {
      case 0:
        return number(anyNumber());
      case 1:
        return {CBORNegative{anyNumber()}};
      case 2:
        return {CBORBytes{anyText()}};
      case 3:
        return text(anyText());
      case 4:
        return {CBORSimple{static_cast<std::uint8_t>(pick(2) ? pick(24) : 32 + pick(224))}};
      case 5:
        return {std::bit_cast<double>(random_())};
      case 6: {
        CBORItem::Array items;
        for (std::size_t i = pick(30); i > 0; --i) items.push_back(next(depth - 2));
        return array(std::move(items));
      }
      case 7: {
        CBORItem::Map entries;
        for (std::size_t i = pick(30); i > 0; --i) {
          CBORItem key = next(depth - 3);
          const bool isNew =
              std::ranges::none_of(entries, [&](const auto& entry) { return entry.key == key; });
          if (isNew) entries.push_back({std::move(key), next(depth - 2)});
        }
        return map(std::move(entries));
      }
      default:
        return tagged(anyNumber(), next(depth - 1));
    }
  }

 private:
  std::size_t pick(std::size_t count) { return random_() % count; }
  std::uint64_t anyNumber() { return random_() >> pick(64); }
  std::string anyText() {
    static const std::vector<std::string> kPieces{
        "a", "\u00fc", "\u6c34", "\U00010151", "", std::string(1, '\0'), "text"};
    std::string whole;
    for (std::size_t i = pick(40); i > 0; --i) whole += kPieces[pick(kPieces.size())];
    return whole;
  }
  std::mt19937_64 random_{20261121};
};

TEST(CBOR, EveryItemReadsAsItWasWrittenInEveryEncoding) {
  RandomItems items;
  for (int i = 0; i < 3000; ++i) {
    const CBORItem item = items.next();
    for (const CBORStyle style : {CBORStyle::shortest, CBORStyle::longest, CBORStyle::openEnded}) {
      const auto again = readCBOR(CBORWriter::write(item, style));
      ASSERT_TRUE(again.has_value()) << i;
      ASSERT_TRUE(*again == item) << i;
    }
  }
}

TEST(CBOR, DamagedBytesAreReadOrRefused) {
  RandomItems items;
  std::mt19937_64 random(7);
  std::size_t refused = 0;
  for (int i = 0; i < 20'000; ++i) {
    std::string bytes = CBORWriter::write(items.next(3), static_cast<CBORStyle>(i % 3));
    bytes[random() % bytes.size()] = static_cast<char>(random());
    const auto item = readCBOR(bytes);
    if (!item) {
      ++refused;
      continue;
    }
    // What was read is an item: it can be written and read again.
    const auto again = readCBOR(CBORWriter::write(*item));
    ASSERT_TRUE(again.has_value());
    ASSERT_TRUE(*again == *item);
  }
  EXPECT_GT(refused, 0U);
}

// Strict order: what sorts equal is equal, both ways round.
TEST(CBOR, TheOrderIsOne) {
  RandomItems items;
  std::vector<CBORItem> all;
  for (int i = 0; i < 150; ++i) all.push_back(items.next(2));
  for (const CBORItem& a : all) {
    EXPECT_TRUE(a == a);
    for (const CBORItem& b : all) EXPECT_EQ(compare(a, b) < 0, compare(b, a) > 0);
  }
  std::ranges::sort(all, [](const auto& a, const auto& b) { return compare(a, b) < 0; });
  for (std::size_t i = 0; i < all.size(); ++i) {
    for (std::size_t j = i; j < all.size(); ++j) EXPECT_TRUE(compare(all[i], all[j]) <= 0);
  }
}

}  // namespace
}  // namespace korvane
