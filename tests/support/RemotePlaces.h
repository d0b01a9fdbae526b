#pragma once

// Remote places for tests: the desktop's file services on a private session bus, and a WebDAV
// server on the loopback that they have mounted.

#include <memory>
#include <string>
#include <string_view>

#include "support/Places.h"
#include "tests/support/PrivateDesktop.h"

namespace korvane::testing {

class RemotePlaces {
 public:
  /// Starts the bus of `desktop`, on which the file services are started when they are asked for.
  explicit RemotePlaces(PrivateDesktop& desktop) : desktop_(desktop) {
    desktop.set("XDG_DATA_DIRS", (desktop.folder / "system").string() + ":/usr/share");
    // Neither FUSE nor the services that watch the machine's disks are tried.
    desktop.set("GVFS_DISABLE_FUSE", "1");
    desktop.set("GIO_USE_VOLUME_MONITOR", "unix");
    std::filesystem::create_directories(served());
    desktop.startBus();
  }

  /// Whether what this needs is installed; where it is not, `missing` names the packages.
  static bool areThere(std::string& missing) {
    const auto lacks = [&](const char* path, const char* package) {
      if (std::filesystem::exists(path)) return;
      missing += (missing.empty() ? "" : ", ") + std::string(package);
    };
    lacks("/usr/libexec/gvfsd", "gvfs-daemons");
    lacks("/usr/lib/gvfs/gvfsd-dav", "gvfs-backends");
    lacks("/usr/bin/gio", "libglib2.0-bin");
    lacks("/usr/bin/python3", "python3");
    return missing.empty();
  }

  /// Puts a file into the trash, under `name` there; it was called `was`. To be called before
  /// anybody looks at the trash: later on it is noticed only after a while.
  void trash(const std::string& name, const std::string& was, std::string_view content) const {
    const std::filesystem::path place = desktop_.folder / "data/Trash";
    std::filesystem::create_directories(place / "files");
    std::filesystem::create_directories(place / "info");
    writeFile(place / "files" / name, content);
    writeFile(place / "info" / (name + ".trashinfo"),
              "[Trash Info]\nPath=" + (desktop_.folder / was).string() +
                  "\nDeletionDate=2026-01-01T00:00:00\n");
  }

  /// The folder that the server serves.
  std::filesystem::path served() const { return desktop_.folder / "served"; }

  /// Starts the server and has it mounted; gives its URL, without "/" at its end.
  std::string mountServer() {
    start();
    const Finished mounted = desktop_.run({"gio", "mount", "-a", url_ + "/"});
    if (mounted.status != 0) throw std::runtime_error("gio mount: " + mounted.errors);
    return url_;
  }
  /// Starts the server alone.
  std::string start() {
    Pipe output;
    server_ = std::make_unique<RunningProgram>(
        std::vector<std::string>{"python3", KORVANE_SOURCE_DIR "/tests/support/webdav.py",
                                 served()},
        desktop_.environment, output.write, -1);
    output.closeWriting();
    url_ = "dav://127.0.0.1:" + output.readLine();
    return url_;
  }
  /// Ends the server: what is mounted stays so.
  void stopServer() { server_.reset(); }

 private:
  PrivateDesktop& desktop_;
  std::unique_ptr<RunningProgram> server_;
  std::string url_;
};

}  // namespace korvane::testing
