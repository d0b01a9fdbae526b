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
    // No files below the user's own folders are looked at, and no FUSE is tried.
    desktop.set("GVFS_DISABLE_FUSE", "1");
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
