#include "linux/detail/Clipboard.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

/// A session with programs of the test's own in front of the installed ones.
class ClipboardTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY"}) ::unsetenv(variable);
    ::setenv("PATH", folder_.path().c_str(), 1);
  }

  void install(const std::string& program, const std::string& script) {
    const std::filesystem::path path = std::filesystem::path(folder_.path()) / program;
    std::ofstream(path) << "#!/bin/sh\n" << script;
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  }

  static std::string reasonForNone() {
    std::string reason;
    EXPECT_EQ(Clipboard::ofSession(reason), nullptr);
    return reason;
  }

  testing::TemporaryFolder folder_;
};

TEST_F(ClipboardTest, WhatIsMissingIsSaid) {
  EXPECT_EQ(reasonForNone(), "the clipboard cannot be read: this is not a graphical session");
  ::setenv("DISPLAY", ":1", 1);
  EXPECT_EQ(reasonForNone(),
            "the clipboard cannot be read: xclip is not installed (package xclip)");
  ::setenv("WAYLAND_DISPLAY", "wayland-1", 1);
  EXPECT_EQ(reasonForNone(),
            "the clipboard cannot be read: wl-paste is not installed (package wl-clipboard)");
}

TEST_F(ClipboardTest, EachSessionHasItsProgram) {
  install("wl-paste", R"(case "$*" in
--list-types) printf 'text/html\ntext/plain\n';;
'--no-newline --type text/plain') printf tea;;
*) exit 1;;
esac)");
  install("xclip", R"(case "$*" in
'-selection clipboard -out -target TARGETS') printf 'TARGETS\nUTF8_STRING';;
'-selection clipboard -out -target UTF8_STRING') printf cake;;
*) exit 1;;
esac)");
  std::string reason;
  ::setenv("DISPLAY", ":1", 1);
  auto clipboard = Clipboard::ofSession(reason);
  ASSERT_NE(clipboard, nullptr) << reason;
  EXPECT_EQ(clipboard->types(), (std::vector<std::string>{"TARGETS", "UTF8_STRING"}));
  EXPECT_EQ(clipboard->read("UTF8_STRING", 4), "cake");
  EXPECT_EQ(clipboard->read("UTF8_STRING", 3), std::nullopt);
  EXPECT_EQ(clipboard->read("$(touch /tmp/x)", 4), std::nullopt);
  ::setenv("WAYLAND_DISPLAY", "wayland-1", 1);
  clipboard = Clipboard::ofSession(reason);
  ASSERT_NE(clipboard, nullptr) << reason;
  EXPECT_EQ(clipboard->types(), (std::vector<std::string>{"text/html", "text/plain"}));
  EXPECT_EQ(clipboard->read("text/plain", 1000), "tea");
  EXPECT_EQ(clipboard->read("text/html", 1000), std::nullopt);
}

TEST_F(ClipboardTest, AnEmptyClipboardHasNoTypes) {
  install("xclip", "exit 1");
  ::setenv("DISPLAY", ":1", 1);
  std::string reason;
  const auto clipboard = Clipboard::ofSession(reason);
  ASSERT_NE(clipboard, nullptr) << reason;
  EXPECT_TRUE(clipboard->types().empty());
}

}  // namespace
}  // namespace korvane
