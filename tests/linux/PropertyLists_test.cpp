#include "linux/detail/PropertyLists.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <random>

#include "support/JsonLines.h"
#include "support/Places.h"
#include "support/PropertyListSamples.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

using testing::BinaryWriter;
using testing::hexadecimal;
using testing::readXML;
using testing::shown;
using testing::xmlDocument;
using testing::XMLWriter;

std::optional<List> readArray(const std::string& path) {
  return PropertyLists().arrayWithContentsOfURL(NSURL::fileURLWithPath(path));
}

// --- the table ---

// Whether a value is what the table tells.
void expectAsTold(const Value& told, const Value& value) {
  if (told.isText()) {
    ASSERT_TRUE(value.isText());
    EXPECT_EQ(told.text(), value.text());
    return;
  }
  ASSERT_EQ(told.dictionary().size(), 1U);
  const auto [kind, content] = *told.dictionary().begin();
  if (kind == "int") {
    ASSERT_TRUE(value.isNumber() && !value.isReal());
    EXPECT_EQ(content.text(), std::to_string(value.integerValue()));
  } else if (kind == "real") {
    ASSERT_TRUE(value.isReal());
    EXPECT_EQ(content.doubleValue(), value.doubleValue());
  } else if (kind == "bool") {
    ASSERT_TRUE(value.isBoolean());
    EXPECT_EQ(content.boolValue(), value.boolValue());
  } else if (kind == "date") {
    ASSERT_TRUE(value.isDate());
    EXPECT_EQ(content.text(), std::to_string(value.date().timeIntervalSince1970));
  } else if (kind == "data") {
    ASSERT_TRUE(value.isData());
    EXPECT_EQ(content.text(), hexadecimal(value.data()));
  } else if (kind == "array") {
    ASSERT_TRUE(value.isList());
    ASSERT_EQ(content.list().size(), value.list().size());
    for (std::size_t i = 0; i < value.list().size(); ++i) {
      expectAsTold(content.list()[i], value.list()[i]);
    }
  } else if (kind == "dict") {
    ASSERT_TRUE(value.isDictionary());
    EXPECT_EQ(content.dictionary().size(), value.dictionary().size());
    for (const auto [key, member] : content.dictionary()) {
      const Value* found = value.dictionary().find(key);
      ASSERT_TRUE(found) << key;
      expectAsTold(member, *found);
    }
  } else {
    FAIL() << "the table has a kind this test does not know: " << kind;
  }
}

TEST(PropertyLists, TableOfFiles) {
  const auto rows = testing::readJsonLines("plists.jsonl");
  EXPECT_EQ(rows.size(), 49U);
  for (const Value& row : rows) {
    const std::string name(row.objectForKey("file").text());
    SCOPED_TRACE(name);
    const std::string path = std::string(KORVANE_TEST_DATA) + "/" + name;
    ASSERT_TRUE(std::filesystem::exists(path));
    const auto array = readArray(path);
    const Value told = row.objectForKey("array");
    ASSERT_EQ(array.has_value(), !told.isAbsent());
    if (!array) continue;
    expectAsTold(Dictionary{{"array", told}}, Value(*array));
  }
}

// --- files ---

TEST(PropertyLists, FilesThatAreNotRead) {
  testing::TemporaryFolder folder;
  const std::string list = xmlDocument("<array><string>a</string></array>");
  const std::string good = folder.file("good.plist", list);
  EXPECT_TRUE(readArray(good));
  EXPECT_TRUE(readArray(folder.file("a name % \xFF.plist", list)));
  EXPECT_FALSE(readArray(folder.path("missing.plist")));
  EXPECT_FALSE(readArray(folder.folder("folder.plist")));
  EXPECT_FALSE(readArray(folder.file("empty.plist")));
  EXPECT_FALSE(readArray(folder.file("dict.plist", xmlDocument("<dict/>"))));
  EXPECT_FALSE(readArray(good + "/below"));

  std::filesystem::create_symlink(good, folder.path("link.plist"));
  EXPECT_FALSE(readArray(folder.path("link.plist"))) << "links in a shared folder lead anywhere";
  EXPECT_TRUE(readPropertyList(folder.path("link.plist")));

  ASSERT_EQ(::mkfifo(folder.path("pipe.plist").c_str(), 0600), 0);
  EXPECT_FALSE(readArray(folder.path("pipe.plist"))) << "and this must not have blocked";
  EXPECT_FALSE(readArray("/dev/zero"));

  const std::string huge = folder.file("huge.plist", list);
  std::filesystem::resize_file(huge, kMaxPropertyList + 1);
  EXPECT_FALSE(readArray(huge));

  EXPECT_FALSE(
      PropertyLists().arrayWithContentsOfURL(*NSURL::URLWithString("http://host.example" + good)));
  EXPECT_FALSE(readPropertyList(""));
  EXPECT_FALSE(readPropertyList(good + std::string(1, '\0') + "x"));
}

TEST(PropertyLists, NoLinkInsideTheContainerIsFollowed) {
  testing::TemporaryFolder folder;
  const std::string list = xmlDocument("<array><string>a</string></array>");
  folder.file("outside/Addresses.plist", list);
  const std::string good = folder.file("box/SharedData/Contacts/Addresses.plist", list);
  std::filesystem::create_directory_symlink(folder.path("outside"),
                                            folder.path("box/SharedData/Link"));
  std::filesystem::create_directory_symlink(folder.path("box"), folder.path("home"));
  PropertyLists inside(ContainerRoot(folder.path("box")));
  const auto reads = [](PropertyLists& lists, const std::string& path) {
    return lists.arrayWithContentsOfURL(NSURL::fileURLWithPath(path)).has_value();
  };
  EXPECT_TRUE(reads(inside, good));
  EXPECT_FALSE(reads(inside, folder.path("box/SharedData/Link/Addresses.plist")));
  // The container itself may be reached through a link.
  PropertyLists through(ContainerRoot(folder.path("home")));
  EXPECT_TRUE(reads(through, folder.path("home/SharedData/Contacts/Addresses.plist")));
}

TEST(PropertyLists, RootOfAnyKind) {
  testing::TemporaryFolder folder;
  const std::string path = folder.file(
      "Info.plist", xmlDocument("<dict><key>CFBundleIdentifier</key><string>a.b</string></dict>"));
  const auto info = readPropertyList(path);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->objectForKey("CFBundleIdentifier").text(), "a.b");
  EXPECT_EQ(shown(readXML("<true/>")), "1");
}

TEST(PropertyLists, EveryTruncation) {
  const std::string folder = std::string(KORVANE_TEST_DATA) + "/plists/";
  const std::string binary = testing::contentOf(folder + "bin-contacts.plist");
  for (std::size_t size = 0; size < binary.size(); ++size) {
    EXPECT_FALSE(propertyListFromBytes(binary.substr(0, size))) << size;
  }
  const std::string xml = testing::contentOf(folder + "mutated-08.plist");
  const std::size_t end = xml.find("</plist>") + 8;
  for (std::size_t size = 0; size < end; ++size) {
    EXPECT_FALSE(propertyListFromBytes(xml.substr(0, size))) << size;
  }
  const std::string wide = testing::contentOf(folder + "xml-utf16be.plist");
  for (std::size_t size = 0; size < wide.size() - 4; ++size) {
    EXPECT_FALSE(propertyListFromBytes(wide.substr(0, size))) << size;
  }
}

TEST(PropertyLists, EveryBitFlipIsReadOrRefused) {
  const std::string folder = std::string(KORVANE_TEST_DATA) + "/plists/";
  std::size_t accepted = 0;
  std::size_t refused = 0;
  for (const char* name : {"bin-contacts.plist", "bin-ints.plist", "mutated-08.plist"}) {
    const std::string good = testing::contentOf(folder + name);
    for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
      std::string file = good;
      file[bit / 8] = static_cast<char>(file[bit / 8] ^ (1 << bit % 8));
      const auto value = propertyListFromBytes(file);
      ++(value ? accepted : refused);
      if (!value) continue;
      // What came out is a whole tree: it can be written and comes back the same.
      if (value->isList()) {
        EXPECT_EQ(shown(propertyListFromBytes(BinaryWriter::write(*value))), shown(value));
      }
    }
  }
  EXPECT_GT(accepted, 1000U);
  EXPECT_GT(refused, 1000U);
}

// --- both forms ---

class RandomValues {
 public:
  explicit RandomValues(unsigned seed) : random_(seed) {}
  Value make(int depth = 0) {
    switch (pick(depth < 5 ? 9 : 7)) {
      case 0:
        return text();
      case 1:
        return static_cast<std::int64_t>(random_()) >> pick(64);
      case 2:
        return static_cast<double>(static_cast<std::int64_t>(random_())) / 1024;
      case 3:
        return pick(2) == 0;
      case 4:
        return NSDate{static_cast<double>(pick(4'000'000'000) - 1'000'000'000)};
      case 5: {
        NSData data(static_cast<std::size_t>(pick(40)));
        for (auto& byte : data) byte = static_cast<std::uint8_t>(random_());
        return data;
      }
      case 6:
        return -pick(300);
      case 7: {
        List list;
        for (std::int64_t i = pick(20); i > 0; --i) list.push_back(make(depth + 1));
        return list;
      }
      default: {
        Dictionary dictionary;
        for (std::int64_t i = pick(pick(10) == 0 ? 80 : 8); i > 0; --i) {
          dictionary.set(text().text(), make(depth + 1));
        }
        return dictionary;
      }
    }
  }

 private:
  std::int64_t pick(std::int64_t below) {
    return static_cast<std::int64_t>(random_() % static_cast<std::uint64_t>(below));
  }
  Value text() {
    static constexpr std::string_view kPieces[] = {
        "a", "mail", "é", "漢", "\U0001F642", "<", "&", "]]>", "\r\n", " ", "\x01", "\"", "&amp;"};
    std::string text;
    for (std::int64_t i = pick(5); i > 0; --i) text += kPieces[pick(std::size(kPieces))];
    return text;
  }
  std::mt19937_64 random_;
};

TEST(PropertyLists, BothFormsReadTheSame) {
  for (unsigned seed = 0; seed < 2000; ++seed) {
    const Value value = RandomValues(seed).make();
    const auto xml = propertyListFromBytes(XMLWriter::write(value));
    const auto binary = propertyListFromBytes(BinaryWriter::write(value));
    const auto shared =
        propertyListFromBytes(BinaryWriter::write(value, {.shareContainers = true}));
    ASSERT_TRUE(xml && binary && shared) << seed;
    ASSERT_EQ(*xml, value) << seed;
    ASSERT_EQ(*binary, value) << seed;
    ASSERT_EQ(*shared, value) << seed;
    // The order of the keys too.
    ASSERT_EQ(xml->description(), binary->description()) << seed;
  }
}

TEST(PropertyLists, DictionariesOfManyShapes) {
  // More shapes, and more keys, than are shared; keys in every order.
  List list;
  std::mt19937 random(7);
  for (int i = 0; i < 3000; ++i) {
    std::vector<int> keys(static_cast<std::size_t>(i % 40));
    for (std::size_t k = 0; k < keys.size(); ++k) keys[k] = static_cast<int>(k);
    std::shuffle(keys.begin(), keys.end(), random);
    Dictionary dictionary;
    for (const int key : keys) dictionary.set("k" + std::to_string(key), key);
    list.push_back(std::move(dictionary));
  }
  const Value value(list);
  EXPECT_EQ(propertyListFromBytes(XMLWriter::write(value)), value);
  EXPECT_EQ(propertyListFromBytes(BinaryWriter::write(value)), value);
}

TEST(PropertyLists, DictionariesThatAreAlikeStayApartWhenChanged) {
  const auto value = readXML(
      "<array><dict><key>a</key><integer>1</integer></dict>"
      "<dict><key>a</key><integer>2</integer></dict></array>");
  ASSERT_TRUE(value);
  Dictionary first = value->list()[0].dictionary();
  first.set("b", 3);
  first.remove("a");
  EXPECT_EQ(Value(first).description(), "{\n    b = 3;\n}");
  EXPECT_EQ(value->list()[0].description(), "{\n    a = 1;\n}");
  EXPECT_EQ(value->list()[1].description(), "{\n    a = 2;\n}");
}

}  // namespace
}  // namespace korvane
