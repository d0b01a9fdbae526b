// Property lists that ask for more than they are: depth, and ways to make a small file large.
#include "formats/plist/PropertyListBytes.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/ChildProcess.h"
#include "support/PropertyListSamples.h"

namespace korvane {
namespace {

using testing::BinaryWriter;
using testing::bytes;
using testing::readXML;
using testing::repeated;

std::string deepXML(std::size_t depth, std::string_view open, std::string_view close) {
  return repeated(open, depth) + repeated(close, depth);
}

// Lists inside one another, each an object of its own.
std::string deepBinary(std::size_t depth) {
  std::vector<std::string> objects;
  for (std::size_t i = 1; i < depth; ++i) objects.push_back("\xA1" + BinaryWriter::bigEndian(i, 2));
  objects.push_back("\xA0");
  return BinaryWriter::file(objects, 0, 2);
}

TEST(PropertyListLimits, Depth) {
  for (const auto& [open, close] :
       {std::pair{"<array>", "</array>"}, std::pair{"<dict><key>a</key>", "</dict>"}}) {
    const std::string inner = *open == '<' && open[1] == 'd' ? "<true/>" : "";
    const auto nested = [&, o = std::string(open), c = std::string(close)](std::size_t depth) {
      return repeated(o, depth) + inner + repeated(c, depth);
    };
    EXPECT_TRUE(readXML(nested(512)));
    EXPECT_FALSE(readXML(nested(513)));
    EXPECT_TRUE(propertyListFromBytes(nested(512))) << "without a plist element";
    EXPECT_FALSE(propertyListFromBytes(nested(513)));
    EXPECT_FALSE(readXML(repeated(open, 1'000'000)));
  }
  EXPECT_FALSE(
      readXML(deepXML(511, "<array>", "</array>").replace(511 * 7, 0, "<array><array/></array>")));
  EXPECT_FALSE(readXML(deepXML(600, "<plist>", "</plist>")));
  EXPECT_TRUE(propertyListFromBytes(deepBinary(512)));
  EXPECT_FALSE(propertyListFromBytes(deepBinary(513)));
  EXPECT_FALSE(propertyListFromBytes(deepBinary(60'000)));

  // The same where each level was read before the one around it.
  for (const std::size_t depth : {511U, 512U, 60'000U}) {
    std::vector<std::string> objects;
    std::string root = "\xAF\x12" + BinaryWriter::bigEndian(depth, 4);
    for (std::size_t i = 1; i <= depth; ++i) root += BinaryWriter::bigEndian(i, 2);
    objects.push_back(root);
    objects.push_back("\xA0");
    for (std::size_t i = 1; i < depth; ++i)
      objects.push_back("\xA1" + BinaryWriter::bigEndian(i, 2));
    EXPECT_EQ(propertyListFromBytes(BinaryWriter::file(objects, 0, 2)).has_value(), depth < 512);
  }
}

// Many ways to make a small file large. Each is read in a process that may use 256 MB.
std::vector<std::pair<std::string, std::string>> bombs() {
  std::vector<std::pair<std::string, std::string>> files;
  {
    std::vector<std::string> objects;  // each list holds the next one twice
    for (int i = 1; i < 40; ++i) objects.push_back(bytes({0xA2, i, i}));
    objects.push_back("\xA0");
    files.emplace_back("doubling", BinaryWriter::file(objects, 0, 1));
  }
  {
    const std::size_t many = 100'000;  // a list of one list of one dictionary, each many times
    const auto list = [&](std::size_t of) {
      return "\xAF\x12" + BinaryWriter::bigEndian(many, 4) +
             repeated(BinaryWriter::bigEndian(of, 1), many);
    };
    files.emplace_back("square", BinaryWriter::file({list(1), list(2), "\xD0"}, 0, 1));
  }
  {
    // Every object is the same text of a megabyte.
    const std::size_t many = 65'000;
    std::string file = "bplist00\xAF\x12" + BinaryWriter::bigEndian(many, 4);
    for (std::size_t i = 1; i <= many; ++i) file += BinaryWriter::bigEndian(i, 4);
    const std::size_t text = file.size();
    file += BinaryWriter::marker(5, 1'000'000) + std::string(1'000'000, 'a');
    const std::size_t table = file.size();
    file += BinaryWriter::bigEndian(8, 4) + repeated(BinaryWriter::bigEndian(text, 4), many);
    file += std::string(6, '\0') + bytes({4, 4}) + BinaryWriter::bigEndian(many + 1, 8) +
            BinaryWriter::bigEndian(0, 8) + BinaryWriter::bigEndian(table, 8);
    files.emplace_back("overlapping", file);
  }
  std::string entities = "<!DOCTYPE p [<!ENTITY a0 'aaaaaaaaaa'>";
  for (int i = 1; i < 12; ++i) {
    const std::string before = "&a" + std::to_string(i - 1) + ";";
    entities += "<!ENTITY a" + std::to_string(i) + " '" + repeated(before, 10) + "'>";
  }
  files.emplace_back("entities", entities + "]><array><string>&a11;</string></array>");
  files.emplace_back("open arrays", repeated("<array>", 3'000'000));
  files.emplace_back("open comment", "<!--" + repeated("<!-- -- ", 500'000));
  files.emplace_back("open CDATA", "<string>" + repeated("<![CDATA[", 500'000));
  files.emplace_back("ampersands", "<string>" + repeated("&", 3'000'000));
  return files;
}

TEST(PropertyListLimits, BombsAreRefusedQuickly) {
  for (const auto& [name, file] : bombs()) {
    SCOPED_TRACE(name);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(propertyListFromBytes(file));
    // Reading them out would take minutes to years.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(PropertyListLimits, BombsTakeLittleMemory) {
  for (const auto& [name, file] : bombs()) {
    SCOPED_TRACE(name);
    const int status = testing::inChild([&file = file] {
      return testing::setLimit(RLIMIT_AS, 256 << 20) && !propertyListFromBytes(file);
    });
    EXPECT_EQ(status, 0);
  }
}
#endif

// Dictionaries that name the same long keys, each in another order: comparing the characters of
// the keys for every dictionary would take the square of the file's size, minutes here.
TEST(PropertyListLimits, LongKeysInEveryOrder) {
  constexpr std::size_t kKeys = 256;
  constexpr std::size_t kDictionaries = 8000;
  std::vector<std::string> objects(1);
  std::vector<std::size_t> order;
  for (std::size_t i = 1; i <= kKeys; ++i) {
    order.push_back(i);
    objects.push_back(BinaryWriter::marker(5, 64'002) + std::string(64'000, 'a') +
                      BinaryWriter::bigEndian(0x2020 + i / 64 * 256 + i % 64, 2));
  }
  std::mt19937 random(5);
  std::string root = BinaryWriter::marker(10, kDictionaries);
  for (std::size_t d = 0; d < kDictionaries; ++d) {
    root += BinaryWriter::bigEndian(objects.size(), 2);
    std::shuffle(order.begin(), order.end(), random);
    std::string dictionary = BinaryWriter::marker(13, kKeys);
    for (const std::size_t key : order) dictionary += BinaryWriter::bigEndian(key, 2);
    objects.push_back(dictionary + repeated(BinaryWriter::bigEndian(1, 2), kKeys));
  }
  objects[0] = root;
  const std::string file = BinaryWriter::file(objects, 0, 2);

  const auto start = std::chrono::steady_clock::now();
  const auto value = propertyListFromBytes(file);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  ASSERT_TRUE(value);
  EXPECT_EQ(value->list().size(), kDictionaries);
  EXPECT_EQ(value->list()[7].dictionary().size(), kKeys);
}

TEST(PropertyListLimits, SharedMembersOfAProperFileAreRead) {
  // A thousand groups of the same hundred contacts, which a writer may store once.
  List members;
  for (int i = 0; i < 100; ++i) {
    members.push_back(Dictionary{{"mail", "m" + std::to_string(i)}, {"rank", i}});
  }
  List groups;
  for (int i = 0; i < 1000; ++i) groups.push_back(Dictionary{{"idx", i}, {"addresses", members}});
  const Value value(groups);
  EXPECT_EQ(propertyListFromBytes(BinaryWriter::write(value, {.shareContainers = true})), value);
}

}  // namespace
}  // namespace korvane
