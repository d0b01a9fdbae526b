#include "linux/detail/RemoteNames.h"

#include <gtest/gtest.h>

#include <set>

namespace korvane {
namespace {

TEST(RemoteNames, TheNameThatIsShownWhereItIsOneComponent) {
  struct Case {
    RemoteNames names;
    std::string expected;
  };
  const std::string tooLong(300, 'x');
  const std::string tooLongText = tooLong + ".txt";
  const std::string longest = tooLong.substr(0, 254);
  const std::string cutInside = longest + "\u00FC";
  for (const auto& [names, expected] : std::initializer_list<Case>{
           {{"a.txt", "a.txt", "a.txt", "a.txt"}, "a.txt"},
           {{"o123", "IMG_1.JPG", "", ""}, "IMG_1.JPG"},
           {{"report.2.txt", "report.txt", "report.txt", "report.2.txt"}, "report.txt"},
           {{"file.2", "file", "file", "file.2"}, "file"},
           {{"q.pdf", "Report", "q.pdf", ""}, "q.pdf"},
           {{"q.pdf", "Report.PDF", "q.pdf", ""}, "Report.PDF"},
           {{"q", "Dr. Who and others", "", ""}, "Dr. Who and others"},
           {{"caf\xE9.txt", "caf\uFFFD.txt (invalid encoding)", "caf\uFFFD.txt", ""},
            "caf\xE9.txt"},
           {{"a", "x/y", "b", "c"}, "b"},
           {{"a", "..", ".", ""}, "a"},
           {{"/", "Trash", "", ""}, "Trash"},
           {{"/", "/", "", ""}, "_"},
           {{"", "", "", ""}, "file"},
           {{"..", "../x", "", ""}, ".._x"},
           {{"..", "..", "", ""}, "file"},
           {{"a\nb", "a\nb", "", ""}, "a\nb"},
           {{".txt", ".txt", "", ""}, ".txt"},
           {{tooLongText, tooLongText, "", ""}, tooLong.substr(0, 251) + ".txt"},
           {{"x", cutInside, "", ""}, longest},
       }) {
    EXPECT_EQ(remoteName(names), expected);
  }
  using namespace std::string_view_literals;
  EXPECT_EQ(remoteName({"\0"sv, "a\0b"sv, "", ""}), "a_b");
}

TEST(RemoteNames, ATakenNameGetsANumber) {
  const std::set<std::string> taken{"a.txt", "a_1.txt", "b"};
  const auto isFree = [&](const std::string& name) { return !taken.contains(name); };
  EXPECT_EQ(freeName("c.txt", isFree), "c.txt");
  EXPECT_EQ(freeName("a.txt", isFree), "a_2.txt");
  EXPECT_EQ(freeName("b", isFree), "b_1");
  std::string longest(251, 'x');
  longest += ".txt";
  std::string shorter(249, 'x');
  shorter += "_1.txt";
  EXPECT_EQ(freeName(longest, [&](const std::string& name) { return name != longest; }), shorter);
}

}  // namespace
}  // namespace korvane
