#include "linux/detail/UnfinishedNames.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <set>

#include "support/ChildProcess.h"

namespace korvane {
namespace {

TEST(UnfinishedNames, AreKnownAgainAndNeverTheSame) {
  std::set<std::string> names;
  for (int i = 0; i < 1000; ++i) {
    const std::string name = unfinishedName();
    EXPECT_TRUE(isUnfinishedName(name)) << name;
    EXPECT_TRUE(names.insert(name).second) << name;
  }
}

TEST(UnfinishedNames, AreMadeWhereNothingIsRandomToo) {
  EXPECT_EQ(testing::inChild([] {
              ::alarm(20);
              if (!testing::failCall(SYS_getrandom, EPERM)) return false;
              std::set<std::string> names;
              for (int i = 0; i < 1000; ++i) names.insert(unfinishedName());
              return names.size() == 1000 && isUnfinishedName(*names.begin());
            }),
            0);
}

TEST(UnfinishedNames, OthersAreNone) {
  for (const char* name :
       {"", ".korvane-", ".korvane-012345678901234", ".korvane-01234567890123456",
        "korvane-0123456789012345", "report.pdf"}) {
    EXPECT_FALSE(isUnfinishedName(name)) << name;
  }
}

}  // namespace
}  // namespace korvane
