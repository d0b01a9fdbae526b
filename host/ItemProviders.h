#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "host/FetchedFiles.h"
#include "host/PictureLane.h"
#include "host/RunWatch.h"
#include "host/ShareRequest.h"
#include "platform/NSExtension.h"

namespace korvane {

/// Runs jobs one after the other, in the order in which they come, on the Platform's queue of high
/// priority. Any thread may call.
class SerialQueue {
 public:
  void async(std::function<void()> job);

 private:
  struct State {
    std::mutex mutex;
    std::deque<std::function<void()>> jobs;
    bool running = false;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// What the providers of one share have in common.
struct ShareLoads {
  ShareLoads(std::shared_ptr<RunWatch> watch,
             std::function<std::optional<FetchedFile>(const std::string& url)> finder)
      : run(std::move(watch)), fetched(std::move(finder)) {}

  /// Learns what becomes of each load.
  const std::shared_ptr<RunWatch> run;
  /// What became of the remote file of a URL, nothing where that is a link. While providers are
  /// made.
  const std::function<std::optional<FetchedFile>(const std::string& url)> fetched;
  /// Files are delivered one by one, so that they are attached in the order given.
  SerialQueue files;
  /// Pictures take time, and keep no file waiting: those have a priority of their own.
  PictureLane pictureLane;
  /// Pictures that came as data, without a name.
  std::size_t pictures = 0;
};

/// The provider of an attachment, whose data is moved out of it. The run learns what becomes of it;
/// that something is of a type which no share takes is told at once.
///
/// A link is delivered at once, on the thread that loads it; a file URL, that of a fetched file
/// among them, when the files before it have been, on the Platform's queue of high priority; a
/// picture by way of the PictureLane, with its data as item, whether that can be decoded or not. A
/// load fails with an error for an image file that cannot be read or is no regular file, for a file
/// URL that names no file of this machine, for a remote file that was not fetched, and for a type
/// that the attachment does not conform to.
///
/// Null for a link of which no URL can be made, for an address without a scheme (a reader of HTML
/// may see one in it where a URL has none: "javascript&colon;x"), and for one that would run
/// something in the mail or show a document of its own there (javascript:, vbscript:, data:): these
/// are better a text.
std::shared_ptr<NSItemProvider> makeItemProvider(ShareRequest::Attachment& attachment,
                                                 const std::shared_ptr<ShareLoads>& loads);

}  // namespace korvane
