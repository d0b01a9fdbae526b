#include "model/detail/RecordReading.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "model/ExtensionAccount.h"
#include "model/ExtensionAddress.h"
#include "model/ExtensionAlias.h"
#include "model/ExtensionGroup.h"
#include "model/ExtensionMessage.h"
#include "platform/NSException.h"
#include "platform/NSImage.h"
#include "platform/NSURL.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

using testing::TestPlatform;

/// A value of every kind but absent.
std::vector<Value> oneOfEach() {
  const Bitmap pixel{.width = 1, .height = 1, .channels = 4, .stride = 4, .pixels = {1, 2, 3, 4}};
  return {"text",
          7,
          2.5,
          true,
          NSDate{5},
          NSData{1, 2},
          List{1},
          Dictionary{{"k", "v"}},
          *NSURL::URLWithString("file:///x"),
          NSImage(std::make_shared<Bitmap>(pixel))};
}

bool isConvertible(const Value& value) {
  return value.isText() || value.isNumber() || value.isBoolean();
}

/// A field that holds what the dictionary has under its key, whatever that is.
struct Field {
  const char* record;
  const char* key;
  Value whenMissing;
  std::function<Value(const Value& dictionary)> read;
};

template <class Record>
Field field(const char* record, const char* key, Value whenMissing, Value (Record::*get)() const) {
  return {record, key, std::move(whenMissing),
          [get](const Value& dictionary) { return (Record(dictionary).*get)(); }};
}

std::vector<Field> fields() {
  return {
      field("ExtensionAlias", "mail", "No Mail", &ExtensionAlias::mail),
      field("ExtensionAlias", "name", "", &ExtensionAlias::name),
      field("ExtensionAlias", "account", "", &ExtensionAlias::account),
      field("ExtensionAccount", "mail", "No Mail", &ExtensionAccount::mail),
      field("ExtensionAccount", "name", "", &ExtensionAccount::name),
      field("ExtensionAddress", "mail", "No Mail", &ExtensionAddress::mail),
      field("ExtensionAddress", "firstName", "", &ExtensionAddress::firstName),
      field("ExtensionAddress", "lastName", "", &ExtensionAddress::lastName),
      field("ExtensionAddress", "company", "", &ExtensionAddress::company),
      field("ExtensionAddress", "nickname", "", &ExtensionAddress::nickname),
      field("ExtensionGroup", "idx", "", &ExtensionGroup::idx),
      field("ExtensionGroup", "name", "No Name", &ExtensionGroup::name),
      field("ExtensionMessage", "subject", "No subject", &ExtensionMessage::subject),
      field("ExtensionMessage", "messageId", "", &ExtensionMessage::messageId),
      field("ExtensionMessage", "from", "", &ExtensionMessage::from),
      field("ExtensionMessage", "account", "", &ExtensionMessage::account),
      field("ExtensionMessage", "folder", "", &ExtensionMessage::folderPath),
      field("ExtensionMessage", "folderStid", 0, &ExtensionMessage::folderStandardId),
      field("ExtensionMessage", "isUnread", 0, &ExtensionMessage::unread),
  };
}

TEST(RecordReading, FieldsKeepAValueOfAnyKind) {
  TestPlatform platform;
  for (const Field& field : fields()) {
    SCOPED_TRACE(std::string(field.record) + " " + field.key);
    for (const Value& value : oneOfEach()) {
      EXPECT_EQ(field.read(Dictionary{{field.key, value}}), value);
    }
    EXPECT_EQ(field.read(Dictionary{{field.key, ""}}), Value("")) << "empty is not missing";
    EXPECT_EQ(field.read(Dictionary{{"another", 1}}), field.whenMissing);
    EXPECT_EQ(field.read(Value()), field.whenMissing);
  }
  EXPECT_TRUE(platform.log->lines().empty());
}

TEST(RecordReading, WhatIsNoDictionaryLeavesEveryFieldUnset) {
  for (const Field& field : fields()) {
    for (const Value& value : oneOfEach()) {
      if (value.isDictionary()) continue;
      SCOPED_TRACE(std::string(field.record) + " " + field.key + " " + value.description());
      TestPlatform platform;
      EXPECT_TRUE(field.read(value).isAbsent());
      ASSERT_EQ(platform.log->lines().size(), 1U);
      const std::string start = std::string(field.record) + " initWithDictonary ";
      EXPECT_EQ(platform.log->lines()[0].substr(0, start.size()), start);
      EXPECT_GT(platform.log->lines()[0].size(), start.size()) << "and what went wrong";
    }
  }
}

/// A key whose value is converted, or must be a list or a text.
struct Step {
  const char* record;
  const char* key;
  bool (*accepts)(const Value& value);
  /// Reads the record; whether what stands behind the key was read, or where nothing does, what
  /// stands before it.
  bool (*reads)(const Value& dictionary);
  bool isLast = false;
};

TEST(RecordReading, AValueThatCannotBeReadEndsTheReading) {
  const auto isList = [](const Value& value) { return value.isList(); };
  const auto isText = [](const Value& value) { return value.isText(); };
  const auto readsAliases = [](const Value& dictionary) {
    return ExtensionAccount(dictionary).aliases().has_value();
  };
  const Step steps[] = {
      {"ExtensionAccount", "type", isConvertible, readsAliases},
      {"ExtensionAccount", "enabled", isConvertible, readsAliases},
      {"ExtensionMessage", "date", isConvertible,
       [](const Value& dictionary) {
         return ExtensionMessage(dictionary).dateString().has_value();
       }},
      {"ExtensionAccount", "aliases", isList, readsAliases, true},
      {"ExtensionAddress", "rank", isConvertible,
       [](const Value& dictionary) { return !ExtensionAddress(dictionary).mail().isAbsent(); },
       true},
      {"ExtensionGroup", "addresses", isList,
       [](const Value& dictionary) { return ExtensionGroup(dictionary).addresses().has_value(); },
       true},
      {"ExtensionMessage", "avatar", isText,
       [](const Value& dictionary) { return ExtensionMessage(dictionary).date().has_value(); },
       true},
  };
  for (const Step& step : steps) {
    for (const Value& value : oneOfEach()) {
      SCOPED_TRACE(std::string(step.record) + " " + step.key + " " + value.description());
      TestPlatform platform;
      const bool accepted = step.accepts(value);
      EXPECT_EQ(step.reads(Dictionary{{step.key, value}}), accepted || step.isLast);
      const std::string start = std::string(step.record) + " initWithDictonary ";
      const std::vector<std::string> lines = platform.log->lines();
      EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                              [&](const std::string& line) { return line.starts_with(start); }),
                accepted ? 0 : 1);
    }
  }
}

TEST(RecordReading, ADictionaryIsUsedUpOnlyWhereNobodySharesIt) {
  const Value members = List{Dictionary{{"mail", "m"}}};
  const Value kept = Dictionary{{"idx", "1"}, {"addresses", members}};
  Value copy = kept;
  const ExtensionGroup moved{std::move(copy)};
  EXPECT_EQ(moved.addresses()->at(0)->mail(), Value("m"));
  EXPECT_EQ(kept, Value(Dictionary{{"idx", "1"}, {"addresses", List{Dictionary{{"mail", "m"}}}}}));
  EXPECT_EQ(members.list()[0].objectForKey("mail"), Value("m"));
}

TEST(RecordReading, RecordsOfAList) {
  TestPlatform platform;
  const auto read = [](const Value& list) {
    const Value dictionary = Dictionary{{"k", list}};
    return recordsForKey<ExtensionAlias>(dictionary, "k");
  };
  EXPECT_TRUE(read(Value()).empty());
  EXPECT_EQ(read(List{Dictionary(), Value(), 5}).size(), 3U);
  EXPECT_THROW(read("x"), NSException);
  EXPECT_THROW(read(Dictionary()), NSException);
}

TEST(RecordReading, TheLogNamesTheKeyThatCouldNotBeRead) {
  TestPlatform platform;
  const auto line = [&](auto make) {
    platform.log->clear();
    make();
    return platform.log->lines().empty() ? std::string() : platform.log->lines().back();
  };
  EXPECT_EQ(line([] {
              ExtensionAddress(Dictionary{{"rank", List()}});
            }),
            "ExtensionAddress initWithDictonary rank: a list has no integer value");
  EXPECT_EQ(line([] { ExtensionAddress(Value("x")); }),
            "ExtensionAddress initWithDictonary a text has no key \"mail\"");
  EXPECT_EQ(line([] {
              ExtensionAccount(Dictionary{{"type", NSDate{0}}});
            }),
            "ExtensionAccount initWithDictonary type: a date has no integer value");
  EXPECT_EQ(line([] {
              ExtensionAccount(Dictionary{{"enabled", NSData()}});
            }),
            "ExtensionAccount initWithDictonary enabled: data has no boolean value");
  EXPECT_EQ(line([] {
              ExtensionAccount(Dictionary{{"aliases", "x"}});
            }),
            "ExtensionAccount initWithDictonary aliases: a text has no elements");
  EXPECT_EQ(line([] {
              ExtensionGroup(Dictionary{{"addresses", 5}});
            }),
            "ExtensionGroup initWithDictonary addresses: a number has no elements");
  EXPECT_EQ(line([] {
              ExtensionMessage(Dictionary{{"date", List()}});
            }),
            "ExtensionMessage initWithDictonary date: a list has no floating-point value");
  EXPECT_EQ(line([] {
              ExtensionMessage(Dictionary{{"avatar", 5}});
            }),
            "ExtensionMessage initWithDictonary avatar: a number has no characters");
}

TEST(RecordReading, RecordsAreObjectsThatAValueHolds) {
  TestPlatform platform;
  const auto expectObject = [](const auto& record) {
    const Value value(record);
    EXPECT_EQ(value.object(), record);
    EXPECT_EQ(value.description(), record->description());
    using Record = typename std::decay_t<decltype(record)>::element_type;
    EXPECT_TRUE(record->isEqual(value));
    EXPECT_FALSE(record->isEqual(Value(std::make_shared<Record>()))) << "another one";
    EXPECT_FALSE(record->isEqual(Value("text")));
    EXPECT_FALSE(record->isEqual(nullptr));
  };
  expectObject(std::make_shared<ExtensionAddress>());
  expectObject(std::make_shared<ExtensionAlias>());
  expectObject(std::make_shared<ExtensionAccount>());
  expectObject(std::make_shared<ExtensionGroup>());
  expectObject(std::make_shared<ExtensionMessage>());
}

TEST(RecordReading, AContactIsSmall) {
  EXPECT_EQ(sizeof(Property<Value>), sizeof(Value)) << "the lock stands where the value ends";
  EXPECT_LE(sizeof(ExtensionAddress), 104U) << "an address book has very many";
}

}  // namespace
}  // namespace korvane
