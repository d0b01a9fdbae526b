#include "formats/plist/PropertyListBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "support/PropertyListSamples.h"

namespace korvane {
namespace {

using testing::BinaryWriter;
using testing::readXML;
using testing::shown;

struct Case {
  std::string_view content;  // the root element
  std::string_view value;    // its description; "(malformed)" where it is not accepted
};

TEST(XMLPropertyList, Elements) {
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

TEST(XMLPropertyList, AroundTheRoot) {
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

TEST(XMLPropertyList, Encodings) {
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
  EXPECT_EQ(declared("encoding='US-ASCII'", "\xE9\x80"), "é\u0080") << "read as Latin-1";
  EXPECT_EQ(declared("encoding='ascii'", "\xE9"), "é") << "another of its names";
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

}  // namespace
}  // namespace korvane
