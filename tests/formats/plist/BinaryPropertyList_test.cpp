#include "formats/plist/PropertyListBytes.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

#include "support/PropertyListSamples.h"

namespace korvane {
namespace {

using testing::BinaryWriter;
using testing::bytes;
using testing::hexadecimal;
using testing::readObjects;
using testing::shown;

TEST(BinaryPropertyList, Scalars) {
  const std::pair<std::string, std::string_view> cases[] = {
      {bytes({0x08}), "0"},
      {bytes({0x09}), "1"},
      {bytes({0x00}), "(null)"},
      {bytes({0x0F}), "(malformed)"},
      {bytes({0x10, 0xFF}), "255"},
      {bytes({0x11, 0xFF, 0xFE}), "65534"},
      {bytes({0x12, 0xFF, 0xFF, 0xFF, 0xFF}), "4294967295"},
      {"\x13" + std::string(8, '\xFF'), "-1"},
      {"\x14" + std::string(8, '\0') + bytes({0x7F}) + std::string(7, '\xFF'),
       "9223372036854775807"},
      {"\x14" + std::string(16, '\xFF'), "-1"},
      {"\x14" + std::string(8, '\0') + std::string(8, '\xFF'), "18446744073709551616"},
      {"\x14" + bytes({0x80}) + std::string(15, '\0'), "-1.7014118346046923e+38"},
      {"\x15" + std::string(32, '\0'), "(malformed)"},
      {bytes({0x10}), "(malformed)"},
      {bytes({0x22, 0x3F, 0xC0, 0, 0}), "1.5"},
      {bytes({0x23, 0x3F, 0xF8, 0, 0, 0, 0, 0, 0}), "1.5"},
      {bytes({0x21, 0, 0}), "(malformed)"},
      {bytes({0x24}) + std::string(16, '\0'), "(malformed)"},
      {bytes({0x33}) + std::string(8, '\0'), "2001-01-01 00:00:00 +0000"},
      {bytes({0x33, 0, 0}), "(malformed)"},
      {bytes({0x32, 0, 0, 0, 0}), "(malformed)"},
      {bytes({0x42, 0, 0xFF}), "{length = 2, bytes = 0x00ff}"},
      {bytes({0x43, 0, 0xFF}), "(malformed)"},
      {bytes({0x4F, 0x10, 0x01, 0xAB}), "{length = 1, bytes = 0xab}"},
      {bytes({0x4F, 0x13, 0, 0, 0, 0, 0, 0, 0, 1, 0xAB}), "{length = 1, bytes = 0xab}"},
      {bytes({0x4F, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}), "(malformed)"},
      {bytes({0x4F, 0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}), "(malformed)"},
      {bytes({0x4F, 0x22, 0, 0, 0, 0}), "(malformed)"},
      {bytes({0x50}), ""},
      {bytes({0x52, 'a', 0}), std::string_view("a\0", 2)},
      {bytes({0x53, 'a', 0xE9, 0x80}), "aé\u0080"},  // Latin-1
      {bytes({0x52, 'a'}), "(malformed)"},
      {bytes({0x62, 0, 'a', 0x6F, 0x22}), "a漢"},
      {bytes({0x62, 0xD8, 0x3D, 0xDE, 0x42}), "\U0001F642"},
      {bytes({0x61, 0xD8, 0x3D}), "\uFFFD"},
      {bytes({0x63, 0xDE, 0x42, 0xD8, 0x3D, 0, 'a'}), "\uFFFD\uFFFDa"},
      {bytes({0x61, 0}), "(malformed)"},
      {bytes({0x6F, 0x13, 0x80, 0, 0, 0, 0, 0, 0, 1, 0, 0}), "(malformed)"},
      {bytes({0x71, 'a'}), "(malformed)"},
      {bytes({0x80, 7}), "{\n    CF$UID = 7;\n}"},
      {bytes({0x83, 0xFF, 0xFF, 0xFF, 0xFF}), "{\n    CF$UID = 4294967295;\n}"},
      {bytes({0x84, 1, 0, 0, 0, 0}), "(malformed)"},
      {bytes({0x90}), "(malformed)"},
      {bytes({0xA0}), "(\n)"},
      {bytes({0xB0}), "(malformed)"},
      {bytes({0xC0}), "(\n)"},
      {bytes({0xD0}), "{\n}"},
      {bytes({0xE0}), "(malformed)"},
      {bytes({0xF0}), "(malformed)"},
  };
  for (const auto& [object, value] : cases) {
    EXPECT_EQ(shown(readObjects({object})), value) << hexadecimal(object);
  }
}

TEST(BinaryPropertyList, Containers) {
  const std::string a = bytes({0x51, 'a'});
  const std::string b = bytes({0x51, 'b'});
  EXPECT_EQ(shown(readObjects({bytes({0xD1, 1, 2}), a, b})), "{\n    a = b;\n}");
  EXPECT_EQ(shown(readObjects({bytes({0xD2, 1, 1, 1, 2}), a, b})), "{\n    a = a;\n}")
      << "of a key that comes again the first counts in this form";
  EXPECT_EQ(shown(readObjects({bytes({0xD2, 1, 3, 1, 2}), a, b, a})), "{\n    a = a;\n}");
  EXPECT_FALSE(readObjects({bytes({0xD1, 1, 3}), a, b})) << "no such object";
  EXPECT_FALSE(readObjects({bytes({0xA1, 0})})) << "contains itself";
  EXPECT_FALSE(readObjects({bytes({0xA1, 1}), bytes({0xD1, 2, 0}), a}));
  EXPECT_FALSE(readObjects({bytes({0xA2, 1})})) << "members missing";
  EXPECT_FALSE(readObjects({bytes({0xAF, 0x12, 0x7F, 0xFF, 0xFF, 0xFF, 1}), a}));
  EXPECT_EQ(shown(readObjects({bytes({0xA2, 1, 1}), bytes({0xA1, 2}), a})),
            "(\n    (\n        a\n    ),\n    (\n        a\n    )\n)");
}

TEST(BinaryPropertyList, ANullObjectIsAnAbsentMember) {
  const std::string a = bytes({0x51, 'a'});
  EXPECT_EQ(shown(readObjects({bytes({0xA2, 1, 2}), bytes({0x00}), a})),
            "(\n    (null),\n    a\n)");
  EXPECT_EQ(shown(readObjects({bytes({0xD1, 2, 1}), bytes({0x00}), a})), "{\n    a = (null);\n}");
}

TEST(BinaryPropertyList, KeysThatAreNotTextsAreLeftOut) {
  const std::string a = bytes({0x51, 'a'});
  const std::string b = bytes({0x51, 'b'});
  const std::string keys[] = {bytes({0x10, 1}), bytes({0x41, 'a'}),       bytes({0x00}),
                              bytes({0x09}),    bytes({0xA1, 1}),         bytes({0xD1, 1, 2}),
                              bytes({0x80, 7}), bytes({0x22, 0, 0, 0, 0})};
  for (const std::string& key : keys) {
    EXPECT_EQ(shown(readObjects({bytes({0xD2, 3, 1, 1, 2}), a, b, key})), "{\n    a = b;\n}")
        << hexadecimal(key);
    EXPECT_EQ(shown(readObjects({bytes({0xD1, 3, 1}), a, b, key})), "{\n}") << hexadecimal(key);
    // Read as a member first.
    EXPECT_EQ(readObjects({bytes({0xA2, 3, 4}), a, b, key, bytes({0xD1, 3, 1})})->list().size(), 2U)
        << hexadecimal(key);
  }
  EXPECT_FALSE(readObjects({bytes({0xD1, 2, 1}), a, bytes({0x14})})) << "cut off";
  EXPECT_FALSE(readObjects({bytes({0xD1, 2, 3}), a, bytes({0x10, 1}), bytes({0x90})}))
      << "the value is read all the same";
}

TEST(BinaryPropertyList, AnObjectIsKeyAndValue) {
  const std::string a = bytes({0x51, 'a'});
  EXPECT_EQ(shown(readObjects({bytes({0xA3, 1, 2, 1}), a, bytes({0xD1, 1, 1})})),
            "(\n    a,\n    {\n        a = a;\n    },\n    a\n)");
  EXPECT_EQ(shown(readObjects({bytes({0xA2, 3, 1}), a, a, bytes({0xD1, 2, 1})})),
            "(\n    {\n        a = a;\n    },\n    a\n)");
  // Two objects of the same characters in two dictionaries.
  EXPECT_EQ(shown(readObjects({bytes({0xA2, 3, 4}), a, bytes({0x61, 0, 'a'}), bytes({0xD1, 1, 1}),
                               bytes({0xD1, 2, 2})})),
            "(\n    {\n        a = a;\n    },\n    {\n        a = a;\n    }\n)");
}

TEST(BinaryPropertyList, Trailer) {
  const std::string good = BinaryWriter::file({bytes({0xA1, 1}), bytes({0x51, 'a'})}, 0, 1);
  ASSERT_TRUE(propertyListFromBytes(good));
  const std::size_t trailer = good.size() - 32;
  const auto changed = [&](std::size_t at, std::string_view with) {
    std::string file = good;
    file.replace(at, with.size(), with);
    return propertyListFromBytes(file).has_value();
  };
  EXPECT_TRUE(changed(7, "7")) << "any version";
  EXPECT_FALSE(changed(6, "1"));
  EXPECT_FALSE(changed(0, "B"));
  EXPECT_TRUE(changed(trailer, "\xFF\xFF\xFF\xFF\xFF\xFF")) << "unused";
  EXPECT_FALSE(changed(trailer + 6, std::string(1, '\0')));
  EXPECT_FALSE(changed(trailer + 6, "\x02"));
  EXPECT_FALSE(changed(trailer + 7, std::string(1, '\0')));
  EXPECT_FALSE(changed(trailer + 7, "\x02"));
  EXPECT_FALSE(changed(trailer + 15, "\x01"));
  EXPECT_FALSE(changed(trailer + 15, "\x03"));
  EXPECT_FALSE(changed(trailer + 8, std::string(8, '\xFF')));
  EXPECT_FALSE(changed(trailer + 23, "\x02")) << "no such root";
  EXPECT_FALSE(changed(trailer + 31, "\x0B"));
  EXPECT_FALSE(changed(trailer + 24, std::string(8, '\xFF')));
  EXPECT_FALSE(propertyListFromBytes(good + "x"));
  // An offset that leads out of the objects, even of one that nothing refers to.
  EXPECT_FALSE(changed(trailer - 1, "\x0C"));
  EXPECT_FALSE(changed(trailer - 1, "\x07"));

  for (std::size_t width = 1; width <= 8; ++width) {
    const std::string list = bytes({0xA1}) + BinaryWriter::bigEndian(1, width);
    EXPECT_TRUE(propertyListFromBytes(BinaryWriter::file({list, bytes({0x09})}, 0, width)))
        << width;
  }
}

}  // namespace
}  // namespace korvane
