#include "host/FetchedFiles.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "host/URLText.h"
#include "linux/detail/FetchFolder.h"
#include "linux/detail/FileTree.h"
#include "platform/Clock.h"
#include "platform/NSExtension.h"
#include "platform/NSString.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

/// How long one waits between two looks, in seconds: little at first, since most files are small.
constexpr double kFirstPause = 0.001;
constexpr double kLongestPause = 0.05;
/// How long a thread has to let go of a file that was given up: some services do so at once, others
/// when their server answers.
constexpr double kGrace = 0.3;
/// A server that was silent once, for one bad file perhaps, is given less time, and none after
/// being silent twice.
constexpr double kLessPatience = 6;
constexpr int kMaxSilences = 2;

/// The URL of an attachment that may be a remote file's.
std::string remoteURLOf(const ShareRequest::Attachment& attachment) {
  std::string text;
  if (const auto* link = std::get_if<ShareRequest::Link>(&attachment)) text = link->url;
  if (const auto* typed = std::get_if<ShareRequest::TypedText>(&attachment)) {
    if (UTTypeConformsTo(typed->type, kUTTypeURL)) text = typed->text;
  }
  text = stringByTrimmingWhitespaceAndNewlines(text);
  const std::string_view scheme = schemeOf(text);
  const bool isRemote = !scheme.empty() && schemeKind(scheme) != SchemeKind::link;
  return isRemote ? text : std::string();
}

/// "scheme://host" of a URL.
std::string serverOf(const std::string& url) {
  const std::size_t scheme = url.find("://");
  return scheme == std::string::npos ? url.substr(0, url.find(':'))
                                     : url.substr(0, url.find('/', scheme + 3));
}

}  // namespace

/// What the thread that fetches shares with the one that waits, which may give it up.
struct FetchedFiles::Fetch {
  FetchStop stop;
  std::mutex mutex;
  bool isDone = false;
  bool isLink = false;
  FetchedFile file;
  std::vector<MissingThing> leftOut;
  std::string name;
  std::optional<std::uint64_t> size;
  std::uint64_t bytes = 0;
  std::uint64_t answers = 0;
};

FetchedFiles::FetchedFiles(const ShareRequest& request, const ShareOptions& options,
                           std::shared_ptr<RunWatch> run)
    : options_(options), run_(std::move(run)) {
  std::vector<std::string> urls;
  for (const ShareRequest::Item& item : request.items) {
    for (const ShareRequest::Attachment& attachment : item.attachments) {
      std::string url = remoteURLOf(attachment);
      if (!url.empty() && std::ranges::find(urls, url) == urls.end()) {
        urls.push_back(std::move(url));
      }
    }
  }
  count_ = urls.size();
  for (const std::string& url : urls) {
    ++number_;
    fetch(url);
  }
}

FetchedFiles::~FetchedFiles() = default;

std::optional<FetchedFile> FetchedFiles::find(const std::string& url) const {
  const auto found = found_.find(stringByTrimmingWhitespaceAndNewlines(url));
  return found == found_.end() ? std::nullopt : std::optional(found->second);
}

bool FetchedFiles::isCancelled() const {
  return options_.hooks.cancellation && options_.hooks.cancellation->isCancelled();
}

std::string FetchedFiles::folderForNext() {
  if (!folder_) {
    const std::string container = options_.container.value_or("");
    const std::size_t slash = container.rfind('/');
    if (slash == std::string::npos)
      throw FetchFailure(translated("there is no container for attachments"));
    folder_ = std::make_unique<FetchFolder>(slash == 0 ? "/" : container.substr(0, slash));
  }
  std::string path = folder_->path() + "/" + std::to_string(number_);
  if (::mkdir(path.c_str(), S_IRWXU) != 0) throw FileFailure{errno, path};
  return path;
}

void FetchedFiles::fetch(const std::string& url) {
  FetchedFile& result = found_[url];
  if (isCancelled()) {
    result.reason = translated(kCancelled);
    return;
  }
  int& silences = silences_[serverOf(url)];
  if (silences >= kMaxSilences) {
    result.reason = translated("its server does not answer");
    return;
  }
  const auto work = std::make_shared<Fetch>();
  FetchRules rules;
  rules.found = [work](const std::string& name, std::optional<std::uint64_t> size) {
    const std::lock_guard lock(work->mutex);
    work->name = name;
    work->size = size;
  };
  rules.came = [work](std::size_t bytes) {
    const std::lock_guard lock(work->mutex);
    work->bytes += bytes;
    ++work->answers;
  };
  rules.leftOut = [work](const std::string& path, const std::string& reason) {
    const std::lock_guard lock(work->mutex);
    work->leftOut.push_back({path, reason});
  };
  try {
    rules.folder = folderForNext();
    run_->jobQueued(false);
    try {
      std::thread([work, url, rules, read = options_.fetch, run = run_] {
        FetchedFile file;
        bool isLink = false;
        try {
          file.path = read(url, rules, work->stop);
        } catch (const FetchFailure& failure) {
          file.reason = failure.what();
          isLink = failure.isLink();
        } catch (const std::bad_alloc&) {
          file.reason = translated("there is not enough memory for it");
        } catch (const std::exception& error) {
          file.reason = error.what();
        }
        {
          const std::lock_guard lock(work->mutex);
          work->file = std::move(file);
          work->isLink = isLink;
          work->isDone = true;
        }
        run->jobEnded(false);
      }).detach();
    } catch (...) {
      run_->jobEnded(false);
      throw;
    }
  } catch (const FileFailure& failure) {
    result.reason = translated("there is no folder to fetch it into: {0}",
                               failure.error().localizedDescription);
    return;
  } catch (const FetchFailure& failure) {
    result.reason = failure.what();
    return;
  } catch (const std::system_error&) {
    result.reason = translated("this computer cannot start another thread");
    return;
  }
  result.reason = waitFor(work, url, silences);
  if (!result.reason.empty()) return;
  if (work->isLink) {
    found_.erase(url);
    return;
  }
  result = work->file;
  if (result.path.empty()) return;
  for (MissingThing& entry : work->leftOut) {
    run_->miss(url + (url.ends_with('/') ? "" : "/") + entry.item, std::move(entry.reason));
  }
}

std::string FetchedFiles::waitFor(const std::shared_ptr<Fetch>& fetch, const std::string& url,
                                  int& silences) {
  const double longest = options_.longestSilence / (silences == 0 ? 1 : kLessPatience);
  const auto isDone = [&] {
    const std::lock_guard lock(fetch->mutex);
    return fetch->isDone;
  };
  std::string reason;
  std::uint64_t answers = 0;
  double silence = 0;
  double pause = kFirstPause;
  for (;; pause = std::min(2 * pause, kLongestPause)) {
    tellProgress(*fetch, url);
    if (isDone()) return {};
    if (isCancelled()) {
      reason = translated(kCancelled);
      break;
    }
    if (silence >= longest) {
      const auto seconds = static_cast<unsigned long>(longest);
      reason =
          translatedCount("nothing came for {0} second", "nothing came for {0} seconds", seconds);
      ++silences;
      break;
    }
    sleepForTimeInterval(pause);
    const std::lock_guard lock(fetch->mutex);
    silence = fetch->answers == answers ? silence + pause : 0;
    answers = fetch->answers;
  }
  fetch->stop.stop();
  for (double waited = 0; waited < kGrace && !isDone(); waited += kLongestPause) {
    sleepForTimeInterval(kLongestPause);
  }
  return reason;
}

void FetchedFiles::tellProgress(Fetch& fetch, const std::string& url) {
  if (!options_.hooks.progress) return;
  std::string name;
  double part = 0;
  {
    const std::lock_guard lock(fetch.mutex);
    name = fetch.name.empty() ? url : fetch.name;
    if (fetch.isDone) {
      part = 1;
    } else if (fetch.size) {
      part = std::min(1.0, static_cast<double>(fetch.bytes) / static_cast<double>(*fetch.size));
    } else if (count_ == 1) {
      part = -1;
    }
  }
  const std::string text = count_ > 1 ? translated("Fetching {0} ({1} of {2})…", name,
                                                   std::to_string(number_), std::to_string(count_))
                                      : translated("Fetching {0}…", name);
  if (part >= 0) {
    part = (static_cast<double>(number_ - 1) + part) / static_cast<double>(count_);
  }
  std::pair now(text, part);
  if (now == told_) return;
  told_ = std::move(now);
  options_.hooks.progress(text, part);
}

}  // namespace korvane
