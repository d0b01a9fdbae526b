// korvane-share --clipboard in a Wayland session: sway without a screen, and wl-copy.

#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "linux/detail/Images.h"
#include "model/ExtensionMessage.h"
#include "tests/support/Pictures.h"
#include "tests/support/PrivateDesktop.h"

#include "support/Places.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using testing::Finished;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::Pipe;
using testing::PrivateDesktop;
using testing::RunningProgram;
using testing::writeFile;

class WaylandClipboard : public ::testing::Test {
 protected:
  void SetUp() override {
    desktop.set("LC_ALL", "C.UTF-8");
    for (const auto& [name, value] :
         std::vector<std::pair<std::string, std::string>>{{"WLR_BACKENDS", "headless"},
                                                          {"WLR_LIBINPUT_NO_DEVICES", "1"},
                                                          {"WLR_RENDERER", "pixman"}}) {
      desktop.set(name, value);
    }
    const fs::path config = desktop.folder / "sway";
    writeFile(config, "exec echo \"$WAYLAND_DISPLAY\"\n");
    std::vector<std::string> command{"sway", "--config", config};
    // It does not run as root; in a name space of its own, root is somebody else.
    if (::geteuid() == 0) {
      const std::vector<std::string> asOther{"unshare", "--user", "--map-user=1000",
                                             "--map-group=1000"};
      command.insert(command.begin(), asOther.begin(), asOther.end());
    }
    Pipe ready;
    try {
      sway_ = std::make_unique<RunningProgram>(command, desktop.environment, ready.write, -1);
    } catch (const std::system_error&) {
      GTEST_SKIP() << "sway is not installed";
    }
    ready.closeWriting();
    const std::string display = ready.readLine();
    if (display.empty()) GTEST_SKIP() << "sway cannot run here";
    desktop.set("WAYLAND_DISPLAY", display);
    if (desktop.run({"wl-paste", "--version"}).status != 0) {
      GTEST_SKIP() << "wl-clipboard is not installed";
    }
  }

  /// Puts a file's content on the clipboard.
  void copy(const std::string& type, const std::string& content) const {
    writeFile(desktop.folder / "content", content);
    const Finished copied = desktop.run(
        {"sh", "-c",
         "exec wl-copy --type " + type + " < '" + (desktop.folder / "content").string() + "'"});
    ASSERT_EQ(copied.status, 0) << copied.errors;
  }

  Finished share() const {
    return desktop.run({KORVANE_BINARY_DIR "/bin/korvane-share", "--dry-run", "--clipboard"});
  }
  /// The message that is made of the clipboard.
  std::shared_ptr<ExtensionMessage> message() const {
    const std::string line = share().output;
    const std::size_t url = line.find("korvane://");
    if (url == line.npos) throw std::runtime_error("there is no message: " + line);
    return ExtensionMessage::ExtensionMessageWithUrl(
        NSURL::URLWithString(line.substr(url, line.find('"', url) - url)).value());
  }
  std::vector<std::string> attachments() const {
    std::vector<std::string> names;
    for (const Value& value : message()->attachments().value_or(List())) {
      names.push_back(fs::path(value.text()).filename());
    }
    return names;
  }

  PrivateDesktop desktop;

 private:
  std::unique_ptr<RunningProgram> sway_;
};

TEST_F(WaylandClipboard, WhatIsThereIsShared) {
  writeFile(desktop.folder / "tea 1.txt", "tea");
  writeFile(desktop.folder / "cup.txt", "cup");
  copy("text/uri-list", "file://" + desktop.folder.string() + "/tea%201.txt\r\nfile://" +
                            desktop.folder.string() + "/cup.txt\r\n");
  EXPECT_THAT(attachments(), ElementsAre("tea 1.txt", "cup.txt"));

  copy("text/html", "<meta charset=\"utf-8\"><b>T\u00E9a</b> time");
  EXPECT_THAT(message()->htmlBody().value_or(""), HasSubstr("<b>T\u00E9a</b> time"));

  copy("text/plain", "see https://tea.example/");
  EXPECT_THAT(message()->htmlBody().value_or(""), HasSubstr("<a href=\"https://tea.example/\">"));

  const NSData picture =
      Images().encode(testing::paintLandscape(64, 48), NSBitmapImageFileType::PNG).value();
  copy("image/png", {reinterpret_cast<const char*>(picture.data()), picture.size()});
  EXPECT_THAT(attachments(), ElementsAre("image.png"));
}

TEST_F(WaylandClipboard, AnEmptyOneIsTold) {
  const Finished finished = share();
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.output, IsEmpty());
  EXPECT_THAT(finished.errors, HasSubstr("the clipboard is empty"));
}

}  // namespace
}  // namespace korvane
