#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/Export.h"

namespace korvane {

/// What a URL of some scheme is for a share.
enum class SchemeKind {
  link,    ///< an address that is passed on as it stands
  file,    ///< a file that only the desktop's file services (GIO) can read
  either,  ///< a file where those can read it, else a link
};

/// What URLs of a scheme (any case) are: "sftp", "smb", "mtp", "trash" and their like are files,
/// also where the desktop has nothing to read them with; web addresses and the like are links. FTP
/// addresses are passed on as links too, and only the desktop knows about an unknown scheme: both
/// are either. Asks nobody.
KORVANE_EXPORT SchemeKind schemeKind(std::string_view scheme);

/// Lets one thread end what another one fetches. Any thread may call.
class KORVANE_EXPORT FetchStop {
 public:
  FetchStop();
  ~FetchStop();
  FetchStop(const FetchStop&) = delete;
  FetchStop& operator=(const FetchStop&) = delete;

  /// What is being fetched ends as soon as the desktop's services let go of it, and nothing more is
  /// begun. Some let go only when their server answers.
  void stop();
  bool isStopped() const;

 private:
  friend class RemoteReading;
  struct State;
  const std::unique_ptr<State> state_;
};

/// Why a file cannot be fetched.
class KORVANE_EXPORT FetchFailure : public std::runtime_error {
 public:
  /// `reason` is for people. `isLink`: the URL is not a file's.
  explicit FetchFailure(const std::string& reason, bool isLink = false)
      : std::runtime_error(reason), isLink_(isLink) {}
  bool isLink() const { return isLink_; }

 private:
  bool isLink_;
};

/// Where a fetched file goes, and who hears of it. The functions, which may be empty, are called by
/// the thread that fetches.
struct FetchRules {
  /// A private folder without anything in it: an absolute path.
  std::string folder;
  /// How many entries a folder may hold, with those below it, and how deep they may lie.
  std::size_t maxEntries = 100'000;
  std::size_t maximumDepth = 100;
  /// How many bytes are taken of a file that does not say how large it is, and beyond what it says.
  std::uint64_t maximumUnannounced = std::uint64_t{1} << 30;
  /// The name under which it is fetched, and its size; absent for folders, and where it is not
  /// known.
  std::function<void(const std::string& name, std::optional<std::uint64_t> size)> found{};
  /// Something came: so many bytes of a file, 0 for an answer of another kind.
  std::function<void(std::size_t bytes)> came{};
  /// An entry of a folder is left out; `path` is below the folder.
  std::function<void(const std::string& path, const std::string& reason)> leftOut{};
};

/// Fetches the file or folder that a URL names, by the desktop's file services, and gives the path
/// where it lies now: in the rules' folder, under the name that a file manager shows, or where it
/// lies anyway, if the URL (of trash: or recent:) stands for a file of this machine with that name.
///
/// A name that is not UTF-8 keeps its bytes. One that is not a single component ("a/b", "..")
/// becomes one, and what another entry is called already gets a number. What is made is for the
/// user alone and never to be run (0600, folders 0700), with the time of its last change where that
/// is known. Of a folder everything is fetched that can be; links in it are not followed.
///
/// Nothing is mounted for it, so that nobody is asked for a password, and no host learns of a link
/// that is only passed on: what is not mounted is a failure (a link where it may be one).
///
/// Throws FetchFailure. Waits for the desktop's services and what lies behind them, without an end
/// of its own. Any thread may call.
KORVANE_EXPORT std::string fetchRemoteFile(const std::string& url, const FetchRules& rules,
                                           const FetchStop& stop);

}  // namespace korvane
