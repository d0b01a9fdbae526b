#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/Cancellation.h"
#include "host/MissingThing.h"
#include "platform/NSWorkspace.h"

namespace korvane {

/// What a caller wants to hear of a run while it goes on.
struct RunHooks {
  /// Gets lines for people while the run goes on; may be empty.
  std::function<void(const std::string& line)> tell{};
  /// Gets what the run does just now, as a text for people, and how much of it is done: from 0 to
  /// 1, less than 0 where that is not known. Any thread; may be empty.
  std::function<void(const std::string& text, double part)> progress{};
  /// Where given, it can end the run: nothing is opened then.
  std::shared_ptr<Cancellation> cancellation{};
  /// Where given, nothing is opened: it gets what would have been, which counts as accepted.
  std::function<void(const std::vector<NSURL>& urls, std::string_view application,
                     unsigned options)>
      dryRun{};
};

/// What is known of one run of a share while it goes on: the things given, which of them are in the
/// message and why others are not, and what was opened. Any thread may call.
///
/// Every thread that works for the run carries it (RunScope), so that the services, which a process
/// has one set of, report to the run that they work for: see watchedServices().
///
/// What is in the message is known exactly. While the background job puts the message together,
/// things come in only where it sleeps; what comes after its last sleep comes too late, and its
/// delivery fails.
class RunWatch : public std::enable_shared_from_this<RunWatch> {
 public:
  explicit RunWatch(RunHooks hooks = {}) : hooks_(std::move(hooks)) {}
  RunWatch(const RunWatch&) = delete;
  RunWatch& operator=(const RunWatch&) = delete;

  // The things given.

  /// A thing that is on its way from now on; `name` is what people know it by, `presumed` why it is
  /// missing where its delivery fails and nobody says why. Gives its number.
  std::size_t add(std::string name, std::string presumed);
  /// The same for a thing that is a file, with its absolute path.
  std::size_t addFile(std::string name, std::string presumed, const std::string& path);
  /// Something, or a part of something, is not in the message. Beside what add() counts.
  void miss(std::string item, std::string reason);
  /// The same, told at once.
  void missNow(std::string item, std::string reason);

  /// What the person is told that the run does while the things are on their way: "Preparing 26
  /// pictures…". How many of them have arrived goes with it.
  void setPreparing(std::string text);
  /// Tells it again, where something else was told in between.
  void tellProgress() const;

  // What belongs to the staging folder, set before anything is delivered.

  /// The paths of the things that are files.
  const std::vector<std::string>& files() const { return files_; }
  /// Files were moved: `places` gives the path where one lies now.
  void setPlaces(std::function<std::string(const std::string& path)> places) {
    places_ = std::move(places);
  }
  std::string placeOf(const std::string& path) const { return places_ ? places_(path) : path; }
  /// A file has been opened: it is copied from `opened`, a path that leads to the very file,
  /// whatever has its own path by then. People are told its own.
  void setOpened(const std::string& path, std::string opened) { opened_[path] = std::move(opened); }
  /// Where a file is copied from.
  std::string sourceOf(std::string_view path) const;
  /// The path that people know, of a source or of something inside it.
  std::string knownPath(std::string_view source) const;
  /// What an opening has around it. `before` gives a reason where nothing may be opened; `after`
  /// gets whether the URLs were accepted, and why they were not.
  struct OpeningHooks {
    std::function<std::optional<std::string>()> before;
    std::function<void(bool accepted, std::string_view failure)> after;
  };
  void setOpeningHooks(OpeningHooks hooks) { opening_ = std::move(hooks); }
  /// The run may not begin: everything is missing for this reason.
  void giveUp(const std::string& reason);

  // The delivery of a thing, by whoever loads it.

  /// A thing whose load failed: runs `handler`, which has the error logged.
  void fail(std::size_t thing, std::string reason, const std::function<void()>& handler);
  /// Runs `handler`, which puts the thing into the message with the text alone. Where it is too
  /// late, `handler` is not called.
  void deliver(std::size_t thing, const std::function<void()>& handler);
  /// Runs `handler`, which puts the thing into the staging folder and then into the message.
  void deliverStaged(std::size_t thing, const std::function<void()>& handler);

  // What the services see, on a thread that carries the run.

  /// The thing that the calling thread delivers has been staged. False where it is too late for the
  /// message.
  bool commit();
  /// Why the thing that the calling thread delivers fails. The first reason counts.
  void blame(std::string_view reason);
  /// Something inside the thing that the calling thread delivers, an entry of a folder, is left
  /// out. False where the thread delivers nothing: then there is nobody to tell.
  bool leaveOut(std::string item, std::string reason);
  /// A folder could not be made, and why.
  void folderFailed(std::string path, std::string reason);
  /// Why the folder that something lies in could not be made; absent where none failed.
  std::optional<std::string> folderFailure(std::string_view pathInside) const;
  /// An error line was logged on the calling thread.
  void errorLogged() noexcept;
  void jobQueued(bool isBackground);
  void jobEnded(bool isBackground);
  /// The background job's thread sleeps; and it has slept.
  void fallAsleep();
  void wakeUp();
  /// Opens the URLs, unless this is a dry run, and notes the answer. Nothing comes into the message
  /// any more.
  bool open(const std::vector<NSURL>& urls, std::string_view application, unsigned options,
            NSWorkspace& workspace);
  /// Why nothing was opened.
  void launchFailed(std::string_view reason);

  // What became of it.

  /// Returns when the background job has ended, or cancel() was called.
  void waitForBackground();
  /// Nobody waits for the background job any more.
  void cancel();
  /// Whether jobs still run.
  bool isBusy() const;
  /// The application that was asked for, and whether it took the request.
  struct Launch {
    std::string application;
    bool accepted = false;
  };
  /// Absent where nothing was asked to be opened.
  std::optional<Launch> launch() const;
  /// Why nothing was opened, where that is known; empty otherwise.
  std::string failure() const;
  /// What is not in the message: first what was on its way, in the order given. What is still on
  /// its way counts as too late.
  std::vector<MissingThing> missing() const;
  /// The names of the things that are in the message, in the order given.
  std::vector<std::string> namesDelivered() const;
  /// Whether an error was logged while the background job took the texts.
  bool textFailed() const;

 private:
  friend class RunScope;
  enum class State { onItsWay, delivered, missing };
  struct Thing {
    std::string name;
    std::string reason;
    State state = State::onItsWay;
    std::string path{};
  };
  struct Delivery;
  struct Work;
  static thread_local Work work_;

  bool commitLocked(std::unique_lock<std::mutex>& lock, Delivery& delivery);
  void run(Delivery& delivery, const std::function<void()>& handler);

  const RunHooks hooks_;
  std::vector<std::string> files_;
  std::function<std::string(const std::string& path)> places_;
  std::map<std::string, std::string, std::less<>> opened_;  // by their own paths
  OpeningHooks opening_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Thing> things_;
  std::vector<MissingThing> others_;
  std::optional<Launch> launch_;
  std::string failure_;
  std::size_t jobs_ = 0;
  std::size_t backgroundJobs_ = 0;
  std::size_t committing_ = 0;  // deliveries between their commit and their end
  bool awake_ = false;          // the background job has slept, and does not sleep
  bool closed_ = false;
  bool textFailed_ = false;
  std::pair<std::string, std::string> failedFolder_;  // its path, and why
  bool cancelled_ = false;
  std::string preparing_;
};

/// The calling thread works for a run as long as this lives.
class RunScope {
 public:
  explicit RunScope(std::shared_ptr<RunWatch> run, bool isBackgroundJob = false);
  ~RunScope();
  RunScope(const RunScope&) = delete;
  RunScope& operator=(const RunScope&) = delete;

  /// The run that the calling thread works for; null for none.
  static std::shared_ptr<RunWatch> current();
  /// Whether the calling thread is the background job of its run.
  static bool isBackgroundJob();

 private:
  std::shared_ptr<RunWatch> run_;
  bool isBackgroundJob_;
};

}  // namespace korvane
