#include "compose/StartedProgram.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

#include "support/PrivateDesktop.h"

namespace korvane {
namespace {

using testing::Pipe;

/// What a started program writes to a FIFO; waits for it.
class Fifo {
 public:
  Fifo() : path((desktop.folder / "fifo").string()) {
    if (::mkfifo(path.c_str(), 0600) != 0) throw std::runtime_error("mkfifo");
  }
  std::string read() const { return testing::readFile(path); }
  testing::PrivateDesktop desktop;
  std::string path;
};

TEST(StartedProgram, GetsItsArgumentsAndTheActivation) {
  const Fifo fifo;
  setenv("XDG_ACTIVATION_TOKEN", "old", 1);
  setenv("DESKTOP_STARTUP_ID", "old", 1);
  EXPECT_FALSE(startProgram(
      {"sh", "-c", "echo \"$1|$2|$XDG_ACTIVATION_TOKEN|${DESKTOP_STARTUP_ID-none}\" >\"$0\"",
       fifo.path, "a b", "-$(x)"},
      {"token", std::nullopt}));
  EXPECT_EQ(fifo.read(), "a b|-$(x)|token|none\n");
}

TEST(StartedProgram, HasASessionOfItsOwn) {
  const Fifo fifo;
  EXPECT_FALSE(startProgram({"sh", "-c", "cut -d' ' -f1,6 /proc/$$/stat >\"$0\"", fifo.path}, {}));
  const std::string line = fifo.read();
  const auto space = line.find(' ');
  EXPECT_EQ(line.substr(0, space) + "\n", line.substr(space + 1));
}

TEST(StartedProgram, WhatIsNotThereIsTold) {
  EXPECT_TRUE(startProgram({"/nonexistent/program"}, {}));
}

}  // namespace
}  // namespace korvane
