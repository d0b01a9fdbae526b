#include "platform/linux/PropertyLists.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <limits>
#include <random>

#include "support/ChildProcess.h"
#include "support/JsonLines.h"
#include "support/PropertyListWriter.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

using testing::BinaryWriter;
using testing::xmlDocument;
using testing::XMLWriter;

std::optional<List> readArray(const std::string& path) {
  return PropertyLists().arrayWithContentsOfURL(NSURL::fileURLWithPath(path));
}

// Reads the root that a document with this content has.
std::optional<Value> readXML(std::string_view root) {
  return propertyListFromBytes(xmlDocument(root));
}

std::string shown(const std::optional<Value>& value) {
  return value ? value->description() : "(malformed)";
}

// --- the table ---

std::string hexadecimal(const NSData& data) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : data) text += {kDigits[byte >> 4], kDigits[byte & 15]};
  return text;
}

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
  std::filesystem::resize_file(huge, kLargestPropertyList + 1);
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

// --- the XML form ---

struct Case {
  std::string_view content;  // the root element
  std::string_view value;    // its description; "(malformed)" where it is not accepted
};

TEST(PropertyLists, XMLElements) {
  constexpr std::string_view kNo = "(malformed)";
  const Case cases[] = {
      {"<string>a</string >", "a"},
      {"<string\n x='1'>a</string>", "a"},
      {"<string a=b c>a</string>", "a"},
      {"<string x='>'>a</string>", "'>a"},  // the tag ends at the first ">"
      {"<string / >", kNo},
      {"< string>a</string>", kNo},
      {"<string>a</string", kNo},
      {"<string>a< /string>", kNo},
      {"<String>a</String>", kNo},
      {"<strin>a</strin>", kNo},
      {"<strings>a</strings>", kNo},
      {"<>a</>", kNo},
      {"<string>&lt;&gt;&amp;&apos;&quot;</string>", "<>&'\""},
      {"<string>&#65;&#x42;&#x1F642;&#0067;</string>", "AB\U0001F642C"},
      {"<string>&#X42;</string>", kNo},
      {"<string>&#xD800;</string>", kNo},
      {"<string>&#x110000;</string>", kNo},
      {"<string>&#99999999999999999999;</string>", kNo},
      {"<string>&#;</string>", kNo},
      {"<string>&#x;</string>", kNo},
      {"<string>&#6A;</string>", kNo},
      {"<string>&nbsp;</string>", kNo},
      {"<string>&</string>", kNo},
      {"<string>&amp</string>", kNo},
      {"<string>&AMP;</string>", kNo},
      {"<string>a<![CDATA[]]>b<![CDATA[]]]]><![CDATA[>&lt;<string>]]></string>",
       "ab]]>&lt;<string>"},
      {"<string><![CDATA[a</string>", kNo},
      {"<string><![cdata[a]]></string>", kNo},
      {"<string>a<!-- b -->c</string>", kNo},
      {"<string>a<b/></string>", kNo},
      {"<string>\x01\x7F ]]> > \"'</string>", "\x01\x7F ]]> > \"'"},
      {"<string>a\r\nb\rc</string>", "a\r\nb\rc"},
      {"<string>\xFF</string>", kNo},
      {"<string>\xC0\x80</string>", kNo},
      {"<string>\xED\xA0\x80</string>", kNo},
      {"<string>&amp;\xE9</string>", kNo},
      {"<key>a</key>", "a"},
      {"<true></true>", "1"},
      {"<true/>", "1"},
      {"<false />", "0"},
      {"<false></true>", kNo},
      {"<true> </true>", kNo},
      {"<true>1</true>", kNo},
      {"<integer>-0</integer>", "0"},
      {"<integer>\n\t 42</integer>", "42"},
      {"<integer>- 42</integer>", "-42"},
      {"<integer>-0X1f</integer>", "-31"},
      {"<integer>0x0</integer>", "0"},
      {"<integer>0x</integer>", kNo},
      {"<integer>x1F</integer>", kNo},
      {"<integer>1F</integer>", kNo},
      {"<integer>42 </integer>", kNo},
      {"<integer>--1</integer>", kNo},
      {"<integer>-</integer>", kNo},
      {"<integer>4.0</integer>", kNo},
      {"<integer>1e3</integer>", kNo},
      {"<integer>1,000</integer>", kNo},
      {"<integer>&#49;</integer>", kNo},
      {"<integer>\xD9\xA1</integer>", kNo},
      {"<integer></integer>", kNo},
      {"<integer/>", kNo},
      {"<integer> </integer>", kNo},
      {"<integer>18446744073709551615</integer>", "18446744073709551616"},
      {"<integer>18446744073709551616</integer>", kNo},
      {"<integer>-9223372036854775809</integer>", kNo},
      {"<integer>0x8000000000000000</integer>", "9223372036854775808"},
      {"<integer>00000000000000000000000000000000000000007</integer>", "7"},
      {"<real>1</real>", "1"},
      {"<real> -1.5e3</real>", "-1500"},
      {"<real>+.5</real>", "0.5"},
      {"<real>1.</real>", "1"},
      {"<real>1.5 </real>", kNo},
      {"<real>1,5</real>", kNo},
      {"<real>1e</real>", kNo},
      {"<real>.</real>", kNo},
      {"<real>0x10</real>", kNo},
      {"<real></real>", kNo},
      {"<real/>", kNo},
      {"<real>nan</real>", "nan"},
      {"<real>+INFinity</real>", "inf"},
      {"<real>-inf</real>", "-inf"},
      {"<real>-nan</real>", kNo},
      {"<real>infin</real>", kNo},
      {"<real>1e999</real>", "inf"},
      {"<real>1e-999</real>", "0"},
      {"<date>2000-02-29T23:59:59Z</date>", "2000-02-29 23:59:59 +0000"},
      {"<date>1969-12-31T23:59:59Z</date>", "1969-12-31 23:59:59 +0000"},
      {"<date>0001-01-01T00:00:00Z</date>", "0001-01-01 00:00:00 +0000"},
      {"<date>12345-01-01T00:00:00Z</date>", "12345-01-01 00:00:00 +0000"},
      {"<date>2015-13-32T24:60:60Z</date>", "2016-02-02 01:01:00 +0000"},
      {"<date>2016-00-00T00:00:00Z</date>", "2015-11-30 00:00:00 +0000"},
      {"<date>2016-11-16T12:30:00</date>", kNo},
      {"<date>2016-11-16 12:30:00Z</date>", kNo},
      {"<date>2016-11-16T12:30:00.5Z</date>", kNo},
      {"<date>2016-11-16T12:30:00+01:00</date>", kNo},
      {"<date>2016-11-16T12:30Z</date>", kNo},
      {"<date>2016-1-16T12:30:00Z</date>", kNo},
      {"<date> 2016-11-16T12:30:00Z</date>", kNo},
      {"<date>2016-11-16T12:30:00Z </date>", kNo},
      {"<date>99999999999-01-01T00:00:00Z</date>", kNo},
      {"<date></date>", kNo},
      {"<date/>", kNo},
      {"<data></data>", "{length = 0, bytes = 0x}"},
      {"<data>Zg==</data>", "{length = 1, bytes = 0x66}"},
      {"<data>Zm8=</data>", "{length = 2, bytes = 0x666f}"},
      {"<data>Z*m\xFF!9\tv-</data>", "{length = 3, bytes = 0x666f6f}"},
      {"<data>Zm9vZg</data>", "{length = 3, bytes = 0x666f6f}"},
      {"<data>Zm9v&amp;</data>", "{length = 3, bytes = 0x666f6f}"},
      {"<data/>", kNo},
      {"<data>Zm9v<!-- --></data>", kNo},
      {"<array> <!-- a--b --> <?pi <x> ?> </array>", "(\n)"},
      {"<array>x</array>", kNo},
      {"<array>&#32;</array>", kNo},
      {"<array><![CDATA[]]></array>", kNo},
      {"<array><!DOCTYPE plist></array>", kNo},
      {"<array><key>a</key></array>", "(\n    a\n)"},
      {"<array/>", "(\n)"},
      {"<array></array ", kNo},
      {"<array></dict>", kNo},
      {"<array", kNo},
      {"<dict/>", "{\n}"},
      {"<dict> </dict>", "{\n}"},
      {"<dict><key/><string/></dict>", "{\n     = ;\n}"},
      {"<dict><key>a&amp;<![CDATA[<]]></key><true/></dict>", "{\n    a&< = 1;\n}"},
      {"<dict><key>a</key><key>b</key></dict>", "{\n    a = b;\n}"},
      {"<dict><key>a</key></dict>", kNo},
      {"<dict><key>a</key>x<true/></dict>", kNo},
      {"<dict><key>a</key><true/><true/></dict>", kNo},
      {"<dict><true/></dict>", kNo},
      {"<dict><array/></dict>", kNo},
      {"<dict><dict/><key>a</key></dict>", kNo},
      {"<dict><key>\xFF</key><true/></dict>", kNo},
      {"<dict><key>k</key><true/><key>l</key><true/><key>k</key><false/></dict>",
       "{\n    k = 0;\n    l = 1;\n}"},
      {"<plist><plist><true/></plist></plist>", "1"},
      {"<plist></plist>", kNo},
      {"<plist/>", kNo},
      {"", kNo},
      {"<true/><true/>", kNo},
      {"<true/>x", kNo},
      {"<true/><!-- --><?x?>", "1"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(shown(readXML(c.content)), c.value) << c.content;
  }
}

TEST(PropertyLists, XMLAroundTheRoot) {
  constexpr std::string_view kNo = "(malformed)";
  const Case cases[] = {
      {"<plist><true/></plist>", "1"},
      {"<true/>", "1"},
      {"\n\t <?xml version='1.0'?><plist><true/></plist>", "1"},
      {"<?xml anything at all?><!-- - -- ---><plist><true/></plist>", "1"},
      {"<plist><true/></plist>anything <<< \xFF", "1"},
      {"<plist><true/></plist><plist><false/></plist>", "1"},
      {"<plist><true/></plist", kNo},
      {"<plist><true/>", kNo},
      {"x<plist><true/></plist>", kNo},
      {"<!DOCTYPE><plist><true/></plist>", "1"},
      {"<!DOCTYPE plist SYSTEM 'file:///etc/passwd'><plist><true/></plist>", "1"},
      {"<!DOCTYPE broken \xFF & nonsense><true/>", "1"},
      {"<!doctype plist><true/>", kNo},
      {"<!DOCTYPE plist", kNo},
      {"<!DOCTYPE p [<!ENTITY a 'b'><!-- > ] --><?x ]> ?> %pe; <!ELEMENT x ANY> ] ><true/>", "1"},
      {"<!DOCTYPE p [<!ENTITY a 'b'>]><string>&a;</string>", kNo},
      {"<!DOCTYPE p [<!ENTITY a SYSTEM 'file:///etc/passwd'>]><string>&a;</string>", kNo},
      {"<!DOCTYPE p [<!ENTITY lt 'b'>]><string>&lt;</string>", "<"},
      {"<!DOCTYPE p [x]><true/>", kNo},
      {"<!DOCTYPE p [", kNo},
      {"<!DOCTYPE p []", kNo},
      {"<!-- <true/>", kNo},
      {"<?xml", kNo},
      {"<", kNo},
      {"", kNo},
      {"(a, b)", kNo},
      {"{\"a\": 1}", kNo},
      {"<html><body>x</body></html>", kNo},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(shown(propertyListFromBytes(c.content)), c.value) << c.content;
  }
}

// The text in UTF-16 or UTF-32 (of a text without pairs), most significant byte first or last.
std::string widened(std::u16string_view text, std::size_t width, bool bigEndian) {
  std::string bytes;
  for (const char16_t unit : text) {
    std::string one = BinaryWriter::bigEndian(unit, width);
    if (!bigEndian) std::reverse(one.begin(), one.end());
    bytes += one;
  }
  return bytes;
}

TEST(PropertyLists, XMLEncodings) {
  const std::u16string wide =
      u"<?xml version='1.0' encoding='ISO-8859-1'?><string>é漢\U0001F642</string>";
  const std::u16string marked = u"\uFEFF" + wide;
  const std::string text = "é漢\U0001F642";
  EXPECT_EQ(shown(propertyListFromBytes(widened(marked, 2, true))), text);
  EXPECT_EQ(shown(propertyListFromBytes(widened(marked, 2, false))), text);
  EXPECT_EQ(shown(propertyListFromBytes(widened(u"\uFEFF<string>é漢</string>", 4, true))), "é漢");
  EXPECT_EQ(shown(propertyListFromBytes(widened(u"\uFEFF<string>é漢</string>", 4, false))), "é漢");
  EXPECT_FALSE(propertyListFromBytes(widened(wide, 2, true))) << "UTF-16 needs its mark";
  EXPECT_FALSE(propertyListFromBytes(widened(marked, 2, true) + "<")) << "half a unit";
  const std::u16string half = u"\uFEFF<string>" + std::u16string(1, 0xD800) + u"</string>";
  EXPECT_FALSE(propertyListFromBytes(widened(half, 2, true)));

  const auto declared = [](std::string_view declaration, std::string_view content) {
    return shown(propertyListFromBytes("<?xml version=\"1.0\" " + std::string(declaration) +
                                       "?><string>" + std::string(content) + "</string>"));
  };
  EXPECT_EQ(declared("encoding=\"iso-8859-1\"", "\xE9"), "é");
  EXPECT_EQ(declared("encoding='windows-1252'", "\x80"), "€");
  EXPECT_EQ(declared("encoding='Shift_JIS'", "\x8A\xBF"), "漢");
  EXPECT_EQ(declared("encoding='utf-8'", "é"), "é");
  EXPECT_EQ(declared("encoding='UTF8'", "é"), "é");
  EXPECT_EQ(declared("encoding='US-ASCII'", "e"), "e");
  EXPECT_EQ(declared("encoding='US-ASCII'", "é"), "(malformed)");
  EXPECT_EQ(declared("encoding='no-such-thing'", "e"), "(malformed)");
  EXPECT_EQ(declared("encoding='UTF-16'", "e"), "(malformed)") << "it is not";
  // What does not name an encoding properly leaves it at UTF-8.
  EXPECT_EQ(declared("encoding=iso-8859-1", "é"), "é");
  EXPECT_EQ(declared("encodinj='iso-8859-1'", "é"), "é");
  EXPECT_EQ(declared("encoding = 'iso-8859-1'", "é"), "é");
  EXPECT_EQ(
      shown(propertyListFromBytes("\xEF\xBB\xBF<?xml encoding='iso-8859-1'?><string>é</string>")),
      "é");
}

// --- the binary form ---

// Objects with references of one byte; the first is the root.
std::optional<Value> readObjects(const std::vector<std::string>& objects) {
  return propertyListFromBytes(BinaryWriter::file(objects, 0, 1));
}

std::string bytes(std::initializer_list<int> values) {
  std::string text;
  for (const int value : values) text += static_cast<char>(value);
  return text;
}

TEST(PropertyLists, BinaryScalars) {
  const std::pair<std::string, std::string_view> cases[] = {
      {bytes({0x08}), "0"},
      {bytes({0x09}), "1"},
      {bytes({0x00}), "(malformed)"},
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
      {bytes({0x51, 0x80}), "(malformed)"},
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
    EXPECT_EQ(shown(readObjects({object})), value)
        << hexadecimal(NSData(object.begin(), object.end()));
  }
}

TEST(PropertyLists, BinaryContainers) {
  const std::string a = bytes({0x51, 'a'});
  const std::string b = bytes({0x51, 'b'});
  EXPECT_EQ(shown(readObjects({bytes({0xD1, 1, 2}), a, b})), "{\n    a = b;\n}");
  EXPECT_EQ(shown(readObjects({bytes({0xD2, 1, 1, 1, 2}), a, b})), "{\n    a = a;\n}")
      << "of a key that comes again the first counts in this form";
  EXPECT_EQ(shown(readObjects({bytes({0xD2, 1, 3, 1, 2}), a, b, a})), "{\n    a = a;\n}");
  EXPECT_FALSE(readObjects({bytes({0xD1, 2, 1}), a, bytes({0x10, 1})})) << "a key is a text";
  EXPECT_FALSE(readObjects({bytes({0xD1, 1, 2}), bytes({0x41, 'a'}), b}));
  EXPECT_FALSE(readObjects({bytes({0xD1, 1, 3}), a, b})) << "no such object";
  EXPECT_FALSE(readObjects({bytes({0xA1, 0})})) << "contains itself";
  EXPECT_FALSE(readObjects({bytes({0xA1, 1}), bytes({0xD1, 2, 0}), a}));
  EXPECT_FALSE(readObjects({bytes({0xA2, 1})})) << "members missing";
  EXPECT_FALSE(readObjects({bytes({0xAF, 0x12, 0x7F, 0xFF, 0xFF, 0xFF, 1}), a}));
  EXPECT_EQ(shown(readObjects({bytes({0xA2, 1, 1}), bytes({0xA1, 2}), a})),
            "(\n    (\n        a\n    ),\n    (\n        a\n    )\n)");
}

TEST(PropertyLists, BinaryTrailer) {
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

// --- limits ---

std::string repeated(std::string_view text, std::size_t times) {
  std::string out;
  for (std::size_t i = 0; i < times; ++i) out += text;
  return out;
}

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

TEST(PropertyLists, Depth) {
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

TEST(PropertyLists, BombsAreRefusedQuickly) {
  for (const auto& [name, file] : bombs()) {
    SCOPED_TRACE(name);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(propertyListFromBytes(file));
    // Reading them out would take minutes to years.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(PropertyLists, BombsTakeLittleMemory) {
  for (const auto& [name, file] : bombs()) {
    SCOPED_TRACE(name);
    const int status = testing::inChild([&file = file] {
      return testing::setLimit(RLIMIT_AS, 256 << 20) && !propertyListFromBytes(file);
    });
    EXPECT_EQ(status, 0);
  }
}
#endif

TEST(PropertyLists, SharedMembersOfAProperFileAreRead) {
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
          dictionary.set(text(), make(depth + 1));
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
