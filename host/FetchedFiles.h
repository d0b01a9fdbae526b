#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "host/Handover.h"
#include "host/RunWatch.h"
#include "host/ShareRequest.h"
#include "platform/detail/Translation.h"

namespace korvane {

class FetchFolder;

/// What became of a remote file.
struct FetchedFile {
  /// Where it lies now, an absolute path; empty where it could not be fetched.
  std::string path{};
  /// Why it could not be, for people.
  std::string reason{};
};

/// The files of a request that only the desktop's file services can read, fetched before its share
/// begins: that has ten seconds for all that it loads, and keeps other shares waiting meanwhile.
/// They lie in a folder beside the container, which goes with this object.
class FetchedFiles {
 public:
  /// Fetches them one after the other, each on a thread of its own; `options.hooks` hears how far
  /// it is, and can end it. A file of which nothing comes for `options.longestSilence` is given up;
  /// the next one on the same server has a sixth of that time, and where that is silent too, those
  /// behind it are not tried. `run` learns what of a folder is left out, and
  /// stays busy with a thread that does not come back. Waits on the clock of the Platform.
  FetchedFiles(const ShareRequest& request, const ShareOptions& options,
               std::shared_ptr<RunWatch> run);
  ~FetchedFiles();
  FetchedFiles(const FetchedFiles&) = delete;
  FetchedFiles& operator=(const FetchedFiles&) = delete;

  /// What became of the file of a URL, as it stands in the request; nothing where that is a link.
  std::optional<FetchedFile> find(const std::string& url) const;

 private:
  struct Fetch;

  void fetch(const std::string& url);
  std::string folderForNext();
  /// Waits until it has ended, or gives up with the reason.
  std::string waitFor(const std::shared_ptr<Fetch>& fetch, const std::string& url, int& silences);
  /// Where something has changed.
  void tellProgress(Fetch& fetch, const std::string& url);
  bool isCancelled() const;

  const ShareOptions& options_;
  const std::shared_ptr<RunWatch> run_;
  std::size_t count_ = 0;   // of the files to fetch
  std::size_t number_ = 0;  // of the one that is fetched, from 1
  std::unique_ptr<FetchFolder> folder_;
  std::map<std::string, FetchedFile> found_;
  std::map<std::string, int> silences_;  // of each server
  std::pair<std::string, double> told_;
};

}  // namespace korvane
