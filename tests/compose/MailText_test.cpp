#include "compose/MailText.h"

#include <gtest/gtest.h>

#include "platform/NSString.h"

namespace korvane {
namespace {

struct NameCase {
  std::string path;
  std::string name;
};

TEST(MailText, NamesOfFiles) {
  const NameCase cases[] = {
      {"report.pdf", "report.pdf"},
      {"/a/b/report.pdf", "report.pdf"},
      {"/a/b/", "b"},
      {"", "file"},
      {"/", "file"},
      {"a/..", "file"},
      {".", "file"},
      {"...", "..."},
      {"../../up.txt", "up.txt"},
      {"-dash %U", "-dash %U"},
      {" leading", " leading"},
      {"q \"q\".txt", "q \"q\".txt"},
      {"back\\slash", "back\\slash"},
      {"',attachment='/etc/passwd", "passwd"},
      {"a\nX-Inj: 1\n\nbody", "a_X-Inj: 1__body"},
      {"b\"\r\nX: 2", "b\"__X: 2"},
      {std::string("nul\0byte", 8), "nul_byte"},
      {"tab\tdel\x7f", "tab_del_"},
      {"c1 \u0085 ls \u2028 ps \u2029", "c1 _ ls _ ps _"},
      {"caf\xe9.txt", "caf\uFFFD.txt"},
      {"gr\u00fc\u00df \u6587 \U0001F600", "gr\u00fc\u00df \u6587 \U0001F600"},
  };
  for (const auto& [path, name] : cases) EXPECT_EQ(mailFileName(path), name) << path;
}

TEST(MailText, LongNamesKeepTheirExtensionAndWholeCharacters) {
  std::string name;
  for (int i = 0; i < 200; ++i) name += "\u00fc";
  const std::string shortened = mailFileName(name + ".jpeg");
  EXPECT_LE(shortened.size(), kMaxMailFileName);
  EXPECT_TRUE(shortened.ends_with("\u00fc.jpeg")) << shortened;
  EXPECT_TRUE(isUTF8(shortened));
  // What is too long to be an extension is none.
  EXPECT_EQ(mailFileName("a." + std::string(500, 'b')).size(), kMaxMailFileName);
}

TEST(MailText, OneLine) {
  EXPECT_EQ(oneLine(""), "");
  EXPECT_EQ(oneLine("Tea\r\nBcc: e@x"), "Tea  Bcc: e@x");
  EXPECT_EQ(oneLine("  a \u2028 b\t"), "a   b");
  EXPECT_EQ(oneLine("a\xff"), "a\uFFFD");
}

TEST(MailText, PlainLines) {
  EXPECT_EQ(plainLines(""), "");
  EXPECT_EQ(plainLines("a\r\nb\rc\nd\n\ne\r\n\r\nf"), "a\nb\nc\nd\n\ne\n\nf");
  EXPECT_EQ(plainLines("a\x01\x1b[31mb\tc\u0085d\u2028e"), "a[31mb\tc\nd\ne");
}

TEST(MailText, TruncatedAtCharacters) {
  EXPECT_EQ(truncated("abc", 3), "abc");
  EXPECT_EQ(truncated("abc", 2), "ab");
  EXPECT_EQ(truncated("a\u00fc", 2), "a");
  EXPECT_EQ(truncated("\U0001F600", 3), "");
}

TEST(MailText, PlainPaths) {
  EXPECT_TRUE(isPlainPath("/home/ann/gr\u00fc\u00df 'x'"));
  EXPECT_FALSE(isPlainPath("/home/a\nb"));
  EXPECT_FALSE(isPlainPath("/home/caf\xe9"));
}

}  // namespace
}  // namespace korvane
