// What the installation adds for file managers: entries in their menus, in the person's language,
// and nothing that opens files.
#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <string>

#include "tests/support/PrivateDesktop.h"

#include "support/Places.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using ::testing::AnyOf;
using testing::Finished;
using ::testing::HasSubstr;
using testing::PrivateDesktop;
using testing::readFile;
using testing::writeFile;

class Installation : public ::testing::Test {
 protected:
  Installation() {
    desktop.set("LC_ALL", "C.UTF-8");
    const Finished installed =
        desktop.run({"cmake", "--install", KORVANE_BINARY_DIR, "--prefix", prefix});
    EXPECT_EQ(installed.status, 0) << installed.errors;
    desktop.set("PATH", prefix.string() + "/bin:" + std::getenv("PATH"));
  }
  /// Searches the data folder before those of the system, as /usr/local is, and has an index of it
  /// made, as the package system does.
  void searchFirst(const fs::path& data) {
    desktop.set("XDG_DATA_DIRS", data.string() + ":/usr/share");
    EXPECT_EQ(desktop.run({"update-desktop-database", data / "applications"}).status, 0);
  }
  /// What opens files of each type.
  std::map<std::string, std::string> openers() const {
    std::map<std::string, std::string> found;
    for (const char* type :
         {"application/pdf", "application/zip", "audio/mpeg", "image/jpeg", "inode/directory",
          "text/calendar", "text/csv", "text/html", "text/plain", "video/mp4"}) {
      const Finished told = desktop.run({"gio", "mime", type});
      EXPECT_EQ(told.status, 0) << type << told.errors;
      EXPECT_NE(told.output, "") << type;
      found[type] = told.output;
    }
    return found;
  }

  PrivateDesktop desktop;
  const fs::path prefix = desktop.folder / "installed";
  const fs::path share = prefix / "share";
};

TEST_F(Installation, LeavesEveryTypeToWhatOpenedItBefore) {
  desktop.set("XDG_DATA_DIRS", "/usr/share");
  const auto before = openers();
  searchFirst(share);
  EXPECT_EQ(openers(), before);

  // The comparison would see an application that claims types.
  const fs::path other = desktop.folder / "other";
  fs::create_directories(other / "applications");
  std::string entry = readFile(share / "applications/korvane-share.desktop");
  entry.insert(entry.find('\n', entry.find("[Desktop Entry]")) + 1, "MimeType=text/plain;\n");
  writeFile(other / "applications/korvane-share.desktop", entry);
  searchFirst(other);
  EXPECT_THAT(openers()["text/plain"], HasSubstr("korvane-share.desktop"));
}

TEST_F(Installation, EntriesAreWellFormedAndTranslated) {
  for (const char* name :
       {"applications/korvane-share.desktop", "Thunar/sendto/korvane-share.desktop"}) {
    if (!fs::exists(share / name)) continue;
    const Finished checked = desktop.run({"desktop-file-validate", share / name});
    EXPECT_EQ(checked.status, 0) << checked.output << checked.errors;
  }
  int entries = 0;
  for (const char* name :
       {"applications/korvane-share.desktop", "Thunar/sendto/korvane-share.desktop",
        "nemo/actions/korvane-share.nemo_action", "kio/servicemenus/korvane-share.desktop",
        "file-manager/actions/korvane-share-action.desktop"}) {
    if (!fs::exists(share / name)) continue;
    ++entries;
    const std::string entry = readFile(share / name);
    EXPECT_THAT(entry, HasSubstr("\nName=Send by Mail\n")) << name;
    EXPECT_THAT(entry, HasSubstr("\nName[de]=Per E-Mail senden\n")) << name;
    EXPECT_THAT(entry, HasSubstr("\nName[es]=Enviar por correo\n")) << name;
    EXPECT_THAT(entry, HasSubstr("\nName[fr]=Envoyer par courriel\n")) << name;
    EXPECT_THAT(entry, HasSubstr("\nName[it]=Invia per posta\n")) << name;
    // Names may begin with a dash.
    EXPECT_THAT(entry, AnyOf(HasSubstr("\nExec=korvane-share -- %U\n"),
                             HasSubstr("\nExec=korvane-share -- %F\n")))
        << name;
  }
  EXPECT_GE(entries, 3);
}

}  // namespace
}  // namespace korvane
