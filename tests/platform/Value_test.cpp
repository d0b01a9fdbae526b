#include "platform/Value.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/NSException.h"
#include "platform/NSImage.h"
#include "platform/NSURL.h"

namespace korvane {
namespace {

constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
constexpr auto kMin = std::numeric_limits<std::int64_t>::min();

Value image() {
  Bitmap bitmap;
  bitmap.width = 2;
  bitmap.height = 1;
  bitmap.stride = 8;
  bitmap.pixels.assign(8, 7);
  return NSImage(std::make_shared<Bitmap>(bitmap));
}

template <class Key>
concept TakesKey = requires(Dictionary dictionary, Key key) {
  dictionary.set(key, 1);
};

/// Equal by its number, as a record may be by a field.
class Numbered : public NSObject {
 public:
  explicit Numbered(int number) : number_(number) {}
  using NSObject::isEqual;
  bool isEqual(const NSObject* other) const override {
    const auto* numbered = dynamic_cast<const Numbered*>(other);
    return numbered && numbered->number_ == number_;
  }
  std::string description() const override { return "Numbered " + std::to_string(number_); }

 private:
  int number_;
};

/// Equal to itself alone.
class Plain : public NSObject {
 public:
  std::string description() const override { return "Plain"; }
};

/// One value of each kind, in the order of Value::Kind.
std::vector<Value> oneOfEach() {
  return {Value(),
          Value("text"),
          Value(3),
          Value(true),
          Value(NSDate{5}),
          Value(NSData{1, 2}),
          Value(List{1, "a"}),
          Value(Dictionary{{"k", "v"}}),
          Value(*NSURL::URLWithString("korvane://compose?a=b")),
          image(),
          Value(std::make_shared<Numbered>(1))};
}

TEST(Value, KnowsItsKind) {
  const auto values = oneOfEach();
  ASSERT_EQ(values.size(), 11U);
  for (std::size_t i = 0; i < values.size(); ++i) {
    EXPECT_EQ(static_cast<std::size_t>(values[i].kind()), i);
    for (std::size_t k = 0; k < values.size(); ++k) EXPECT_EQ(values[i] == values[k], i == k);
  }
  EXPECT_EQ(sizeof(Value), 16U);
}

TEST(Value, GivesWhatItIs) {
  const auto values = oneOfEach();
  EXPECT_EQ(values[1].text(), "text");
  EXPECT_EQ(values[4].date().timeIntervalSince1970, 5);
  EXPECT_EQ(values[5].data(), (NSData{1, 2}));
  EXPECT_EQ(values[6].list()[1], Value("a"));
  EXPECT_EQ(values[7].dictionary().size(), 1U);
  EXPECT_EQ(values[8].url().scheme(), "korvane");
  EXPECT_EQ(values[9].image().bitmap().width, 2U);
  EXPECT_EQ(values[10].object()->description(), "Numbered 1");
}

TEST(Value, HoldsAnObjectThatOthersHoldToo) {
  const auto object = std::make_shared<Numbered>(1);
  std::weak_ptr<Numbered> watch = object;
  Value value(object);
  const Value copy = value;
  EXPECT_EQ(value.object(), object);
  EXPECT_EQ(copy.objectOf<Numbered>(), object);
  EXPECT_THROW(value.objectOf<Plain>(), NSException);
  EXPECT_THROW(Value("text").objectOf<Plain>(), NSException);
  EXPECT_EQ(value.description(), "Numbered 1");
  EXPECT_EQ(Value(List{value}).description(), "(\n    Numbered 1\n)");
  EXPECT_TRUE(Value(std::shared_ptr<Numbered>()).isAbsent());
  EXPECT_TRUE(Value(std::shared_ptr<NSObject>()).isAbsent());

  // Equality is the class's own.
  EXPECT_EQ(value, Value(std::make_shared<Numbered>(1)));
  EXPECT_FALSE(value == Value(std::make_shared<Numbered>(2)));
  EXPECT_FALSE(value == Value(std::make_shared<Plain>()));
  EXPECT_FALSE(value == Value("Numbered 1"));
  const auto plain = std::make_shared<Plain>();
  EXPECT_TRUE(plain->isEqual(plain));
  EXPECT_TRUE(plain->isEqual(plain.get()));
  EXPECT_FALSE(plain->isEqual(nullptr));
  EXPECT_FALSE(plain->isEqual(std::make_shared<Plain>()));
  EXPECT_FALSE(object->isEqual(Value()));
  EXPECT_FALSE(object->isEqual("Numbered 1"));
}

TEST(Value, IsMadeOfEveryIntegerType) {
  const auto same = [](auto number) {
    const Value value(number);
    EXPECT_TRUE(value.isNumber() && !value.isReal());
    EXPECT_EQ(value.integerValue(), static_cast<std::int64_t>(number));
  };
  same(std::int8_t{-5});
  same(std::uint8_t{200});
  same(short{-3});
  same(static_cast<unsigned short>(65535));
  same(7U);
  same(8L);
  same(9UL);
  same(10LL);
  same(11ULL);
  same(std::size_t{12});
  same(kMin);
  same(kMax);
  const Value beyond(std::numeric_limits<std::uint64_t>::max());
  EXPECT_TRUE(beyond.isReal());
  EXPECT_EQ(beyond.doubleValue(), 0x1p64);
  static_assert(!std::is_constructible_v<Value, char>, "a text or a number?");
  static_assert(!std::is_constructible_v<Value, wchar_t>);
}

TEST(Value, IsMadeOfWhatAnOptionalHolds) {
  EXPECT_TRUE(Value(std::nullopt).isAbsent());
  EXPECT_TRUE(Value(std::optional<std::string>()).isAbsent());
  EXPECT_EQ(Value(std::optional<std::string>("a")), Value("a"));
  EXPECT_EQ(Value(std::optional<std::string_view>("a")), Value("a"));
  EXPECT_EQ(Value(std::optional<int>(5)), Value(5));
  EXPECT_EQ(Value(std::optional<bool>(false)), Value(false));
  EXPECT_EQ(Value(NSURL::URLWithString("x://h")).url().host(), "h");
  EXPECT_TRUE(Value(NSURL::URLWithString("%")).isAbsent());
}

TEST(Value, TheReasonNamesTheKeyThatWasAskedFor) {
  try {
    Value("text").objectForKey("mail");
    FAIL();
  } catch (const NSException& exception) {
    EXPECT_EQ(exception.name(), WrongKindException);
    EXPECT_EQ(exception.reason(), "a text has no key \"mail\"");
  }
  try {
    raisingFor("rank", [] { return Value(List()).integerValue(); });
    FAIL();
  } catch (const NSException& exception) {
    EXPECT_EQ(exception.name(), WrongKindException);
    EXPECT_EQ(exception.reason(), "rank: a list has no integer value");
  }
  EXPECT_EQ(raisingFor("rank", [] { return Value(3).integerValue(); }), 3);
}

TEST(Value, AskedForWhatItIsNotItRaises) {
  using Kind = Value::Kind;
  for (const Value& value : oneOfEach()) {
    const auto raisesUnless = [&](std::initializer_list<Kind> kinds, auto ask) {
      bool raised = false;
      try {
        ask(value);
      } catch (const NSException& exception) {
        raised = true;
        EXPECT_FALSE(exception.reason().empty());
      }
      const bool answers = std::find(kinds.begin(), kinds.end(), value.kind()) != kinds.end();
      EXPECT_EQ(raised, !answers) << value.description();
    };
    raisesUnless({Kind::text}, [](const Value& v) { v.text(); });
    raisesUnless({Kind::date}, [](const Value& v) { v.date(); });
    raisesUnless({Kind::data}, [](const Value& v) { v.data(); });
    raisesUnless({Kind::list}, [](const Value& v) { v.list(); });
    raisesUnless({Kind::dictionary}, [](const Value& v) { v.dictionary(); });
    raisesUnless({Kind::url}, [](const Value& v) { v.url(); });
    raisesUnless({Kind::image}, [](const Value& v) { v.image(); });
    raisesUnless({Kind::object}, [](const Value& v) { v.object(); });
    raisesUnless({Kind::absent, Kind::text}, [](const Value& v) { v.length(); });
    raisesUnless({Kind::absent, Kind::dictionary}, [](const Value& v) { v.objectForKey("k"); });
    const auto converting = {Kind::absent, Kind::text, Kind::number, Kind::boolean};
    raisesUnless(converting, [](const Value& v) { v.integerValue(); });
    raisesUnless(converting, [](const Value& v) { v.floatValue(); });
    raisesUnless(converting, [](const Value& v) { v.doubleValue(); });
    raisesUnless(converting, [](const Value& v) { v.boolValue(); });
  }
}

TEST(Value, Conversions) {
  struct Case {
    Value value;
    std::int64_t integer;
    double real;
    bool boolean;
  };
  const double huge = 9223372036854775808.0;
  const Case cases[] = {
      {Value(), 0, 0, false},
      {true, 1, 1, true},
      {false, 0, 0, false},
      {-7, -7, -7, true},
      {0, 0, 0, false},
      {0.0, 0, 0, false},
      {0.5, 0, 0.5, true},
      {2.9, 2, 2.9, true},
      {-2.9, -2, -2.9, true},
      {huge, kMax, huge, true},
      {-huge, kMin, -huge, true},
      {1e300, kMax, 1e300, true},
      {HUGE_VAL, kMax, HUGE_VAL, true},
      {-HUGE_VAL, kMin, -HUGE_VAL, true},
      {kMin, kMin, -huge, true},
      {"", 0, 0, false},
      {"12", 12, 12, true},
      {" \n-12.5x", -12, -12.5, true},
      {"\u00a0\u30003", 3, 3, true},
      {"+4", 4, 4, true},
      {"x5", 0, 0, false},
      {"99999999999999999999", kMax, 1e20, true},
      {"-99999999999999999999", kMin, -1e20, true},
      {"YES", 0, 0, true},
      {"true", 0, 0, true},
      {"no", 0, 0, false},
      {"000", 0, 0, false},
      {"-0001", -1, -1, true},
      {"\u0663", 0, 0, false},  // digits of other scripts are none here
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.value.integerValue(), c.integer) << c.value.description();
    EXPECT_EQ(c.value.doubleValue(), c.real) << c.value.description();
    EXPECT_EQ(c.value.boolValue(), c.boolean) << c.value.description();
  }
  EXPECT_EQ(Value(std::nan("")).integerValue(), 0);
}

TEST(Value, SinglePrecisionRoundsOnceAndTiesToEven) {
  struct Case {
    Value value;
    float expected;
  };
  for (const Case& c : {Case{1479300000, 1479300000.0F}, Case{"1479300000", 1479299968.0F},
                        Case{std::int64_t{1073741888}, 1073741824.0F},  // ties: 2^30 + 64
                        Case{std::int64_t{1073742016}, 1073742080.0F},  //       2^30 + 192
                        Case{1073741888.0, 1073741824.0F}, Case{"1073741888", 1073741824.0F},
                        Case{"1073741888.0000001", 1073741952.0F}}) {
    EXPECT_EQ(c.value.floatValue(), c.expected) << c.value.description();
    EXPECT_EQ(std::fmod(c.value.floatValue(), 64.0F), 0.0F);
  }
}

TEST(Value, NumbersAreEqualByValueAndOfNoOtherKind) {
  EXPECT_EQ(Value(1), Value(1.0));
  EXPECT_FALSE(Value(1) == Value(true));
  EXPECT_FALSE(Value(1) == Value("1"));
  EXPECT_FALSE(Value(kMax) == Value(kMax - 1));
  EXPECT_EQ(Value(kMin), Value(-0x1p63));
  EXPECT_FALSE(Value(kMax) == Value(0x1p63)) << "which rounds to it";
  EXPECT_FALSE(Value((std::int64_t{1} << 53) + 1) == Value(0x1p53));
  EXPECT_FALSE(Value(0) == Value(std::nan("")));
  EXPECT_FALSE(Value(1) == Value(1.5));
  EXPECT_TRUE(Value(1.0).isReal());
  EXPECT_FALSE(Value(1).isReal());
}

TEST(Value, DescriptionsOfDeepValuesStaySmall) {
  List numbers(1000, Value(7));
  Value value(numbers);
  for (int depth = 0; depth < 500; ++depth) value = List{value};
  EXPECT_LT(value.description().size(), 200'000U) << "though 500 levels are around each number";
}

TEST(Value, Descriptions) {
  EXPECT_EQ(Value().description(), "(null)");
  EXPECT_EQ(Value("a %@").description(), "a %@");
  EXPECT_EQ(Value(true).description(), "1");
  EXPECT_EQ(Value(kMin).description(), "-9223372036854775808");
  EXPECT_EQ(Value(1.5).description(), "1.5");
  EXPECT_EQ(Value(NSDate{1479299400}).description(), "2016-11-16 12:30:00 +0000");
  EXPECT_EQ(Value(NSData{0, 255}).description(), "{length = 2, bytes = 0x00ff}");
  EXPECT_EQ(Value(List{1, "a"}).description(), "(\n    1,\n    a\n)");
  EXPECT_EQ(Value(Dictionary{{"k", List{}}}).description(), "{\n    k = (\n    );\n}");
  EXPECT_FALSE(Value(NSDate{1e300}).description().empty());
  EXPECT_FALSE(Value(NSDate{std::nan("")}).description().empty());
}

TEST(Value, TextsKeepTheirBytes) {
  const std::string bytes("a\0\xFF\n", 4);
  const Value value(bytes);
  EXPECT_EQ(value.text(), bytes);
  EXPECT_EQ(value.length(), 4U);
  EXPECT_EQ(Value("\u00e9").length(), 2U);
}

TEST(Value, CopiesShareAndMovedFromIsAbsent) {
  Value first(std::string(1000, 'x'));
  const Value second = first;
  EXPECT_EQ(first.text().data(), second.text().data());
  const Value third = std::move(first);
  EXPECT_TRUE(first.isAbsent());  // NOLINT(bugprone-use-after-move): what is promised
  first = third;
  Value& same = first;
  first = same;
  EXPECT_EQ(first.length(), 1000U);
}

TEST(Value, CopiesMayBeUsedAndGoOnSeveralThreads) {
  for (int round = 0; round < 50; ++round) {
    std::vector<std::thread> threads;
    {
      const Value shared(Dictionary{{"list", List{"a", image(), NSData(100)}}});
      for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([shared] {
          for (int i = 0; i < 100; ++i) {
            const Value copy = shared;
            const Value list = copy.objectForKey("list");
            if (list.list().size() != 3 || list.list()[0].text() != "a") std::abort();
          }
        });
      }
    }
    for (std::thread& thread : threads) thread.join();
  }
}

TEST(Dictionary, KeepsTheOrderInWhichKeysWereFirstSet) {
  Dictionary dictionary;
  dictionary.set("z", 1);
  dictionary.set("a", 2);
  dictionary.set("m", 3);
  dictionary.set("z", 4);
  std::string keys;
  for (const auto [key, value] : dictionary) keys += key;
  EXPECT_EQ(keys, "zam");
  EXPECT_EQ(dictionary.objectForKey("z"), Value(4));
  EXPECT_TRUE(dictionary.objectForKey("Z").isAbsent());
  EXPECT_EQ(dictionary.find("none"), nullptr);
  EXPECT_THROW(dictionary.setSharingKey(5, 1), NSException);
  EXPECT_THROW(dictionary.setSharingKey({}, 1), NSException);
  static_assert(TakesKey<const char*> && TakesKey<std::string> && TakesKey<std::string_view>);
  static_assert(!TakesKey<int> && !TakesKey<Value>, "a key is a text at compile time");
  dictionary.setSharingKey("z", 5);
  EXPECT_EQ(dictionary.objectForKey("z"), Value(5));
  EXPECT_EQ(dictionary.size(), 3U);
}

TEST(Dictionary, EqualsWhateverTheOrder) {
  EXPECT_EQ((Dictionary{{"a", 1}, {"b", 2}}), (Dictionary{{"b", 2}, {"a", 1}}));
  EXPECT_FALSE((Dictionary{{"a", 1}}) == (Dictionary{{"a", 2}}));
  EXPECT_FALSE((Dictionary{{"a", 1}}) == (Dictionary{{"b", 1}}));
  EXPECT_FALSE((Dictionary{{"a", 1}}) == Dictionary());
}

// Few keys are searched, many are indexed: both sides of the change must behave alike.
TEST(Dictionary, AnyNumberOfKeysIsFoundCopiedAndRemoved) {
  for (const int count : {1, 15, 16, 17, 18, 100, 3000}) {
    Dictionary dictionary;
    for (int i = 0; i < count; ++i) dictionary.set("key" + std::to_string(i), i);
    Dictionary copy = dictionary;
    const auto removed = "key" + std::to_string(count / 2);
    copy.remove(removed);
    copy.remove("never there");
    copy.set("new", "n");
    EXPECT_EQ(copy.find(removed), nullptr);
    EXPECT_EQ(copy.size(), static_cast<std::size_t>(count));
    EXPECT_EQ(dictionary.size(), static_cast<std::size_t>(count));
    EXPECT_EQ(dictionary.find("new"), nullptr);
    for (int i = 0; i < count; ++i) {
      const std::string key = "key" + std::to_string(i);
      ASSERT_EQ(dictionary.objectForKey(key), Value(i));
      ASSERT_EQ(copy.objectForKey(key), key == removed ? Value() : Value(i));
    }
    const Dictionary moved = std::move(copy);
    EXPECT_EQ(moved.objectForKey("new"), Value("n"));
  }
}

TEST(Dictionary, KeysMayBeEmptyOrAnyBytes) {
  Dictionary dictionary;
  const std::string bytes("a\0b\xFF", 4);
  dictionary.set("", 1);
  dictionary.set(bytes, 2);
  EXPECT_EQ(dictionary.objectForKey(""), Value(1));
  EXPECT_EQ(dictionary.objectForKey(bytes), Value(2));
  EXPECT_TRUE(dictionary.objectForKey("a").isAbsent());
}

TEST(Dictionary, ListsOfKeysAreSharedUntilOneChanges) {
  const Dictionary::Keys keys(List{"mail", "name"});
  Dictionary first(keys, List{1, 2});
  const Dictionary second(keys, List{3, 4});
  first.set("rank", 5);
  first.remove("mail");
  EXPECT_EQ(second, (Dictionary{{"mail", 3}, {"name", 4}}));
  EXPECT_EQ(first, (Dictionary{{"name", 2}, {"rank", 5}}));
  EXPECT_EQ(keys.size(), 2U);
  EXPECT_EQ(keys.position("name"), 1U);
  EXPECT_EQ(keys.position("rank"), keys.size());
  EXPECT_THROW(Dictionary(keys, List{1}), NSException);
  EXPECT_THROW(Dictionary::Keys(List{5}), NSException);
}

TEST(Dictionary, AListOfManyKeysThatGrows) {
  List texts;
  List numbers;
  for (int i = 0; i < 100; ++i) {
    texts.push_back("k" + std::to_string(i));
    numbers.push_back(i);
  }
  Dictionary whole(Dictionary::Keys(texts), numbers);
  Dictionary grown;
  for (int i = 99; i >= 0; --i) grown.set(texts[static_cast<std::size_t>(i)].text(), i);
  EXPECT_EQ(whole, grown) << "in whatever order";
  whole.set("new", 100);
  EXPECT_NE(whole, grown) << "more keys";
  whole.remove("k50");
  EXPECT_NE(whole, grown) << "another key";
  EXPECT_EQ(whole.objectForKey("new"), Value(100));
  EXPECT_EQ(whole.objectForKey("k99"), Value(99));
  whole.set("k7", "changed");
  EXPECT_EQ(whole.objectForKey("k7"), Value("changed"));
  grown.set("new", 100);
  grown.remove("k50");
  EXPECT_NE(whole, grown) << "another value";
  grown.set("k7", "changed");
  EXPECT_EQ(whole, grown);
}

TEST(Value, WhatNobodySharesIsTakenOut) {
  Value dictionary = Dictionary{{"a", "text"}, {"b", 1}};
  EXPECT_EQ(dictionary.takeObjectForKey("a"), "text");
  EXPECT_TRUE(dictionary.takeObjectForKey("a").isAbsent());
  EXPECT_TRUE(dictionary.takeObjectForKey("missing").isAbsent());
  EXPECT_EQ(dictionary.objectForKey("b"), 1);
  EXPECT_TRUE(Value().takeObjectForKey("a").isAbsent());
  EXPECT_THROW(Value("text").takeObjectForKey("a"), NSException);

  Value list = List{"x", 2};
  EXPECT_EQ(std::move(list).takeList(), (List{"x", 2}));
  EXPECT_THROW(Value(5).takeList(), NSException);
  EXPECT_THROW(Value().takeList(), NSException);
}

TEST(Value, WhatIsSharedStaysWhole) {
  Value dictionary = Dictionary{{"a", "text"}};
  const Value other = dictionary;
  EXPECT_EQ(dictionary.takeObjectForKey("a"), "text");
  EXPECT_EQ(other, Value(Dictionary{{"a", "text"}}));
  EXPECT_EQ(dictionary, other);

  Value list = List{"x"};
  const Value otherList = list;
  EXPECT_EQ(std::move(list).takeList(), List{"x"});
  EXPECT_EQ(otherList, Value(List{"x"}));
}

TEST(StockedValue, CopiesOutliveItAndEachOther) {
  std::vector<Value> copies;
  Value shared = "shared before";
  {
    StockedValue text;
    EXPECT_TRUE(text.copy().isAbsent());
    text.set("a text");
    for (int i = 0; i < 1000; ++i) copies.push_back(text.copy());
    StockedValue number;
    number.set(5);
    EXPECT_EQ(number.copy(), 5);
    StockedValue other;
    other.set(shared);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(other.copy(), shared);
    copies.push_back(other.copy());
    text.set("another");
    EXPECT_EQ(text.copy(), "another");
  }
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(copies[static_cast<std::size_t>(i)], "a text");
  EXPECT_EQ(copies[1000], "shared before");
  EXPECT_EQ(shared, "shared before");
}

TEST(StockedValue, TheLastCopyIsUnshared) {
  Value copy;
  {
    StockedValue dictionary;
    dictionary.set(Dictionary{{"a", 1}});
    copy = dictionary.copy();
    EXPECT_EQ(copy.takeObjectForKey("a"), 1);
    EXPECT_EQ(copy.objectForKey("a"), 1) << "it was shared";
  }
  EXPECT_EQ(copy.takeObjectForKey("a"), 1);
  EXPECT_TRUE(copy.objectForKey("a").isAbsent());
}

TEST(Value, ANullPointerIsNoText) {
  const char* none = nullptr;
  EXPECT_TRUE(Value(none).isAbsent());
  EXPECT_EQ(Value(""), Value(std::string()));
}

}  // namespace
}  // namespace korvane
