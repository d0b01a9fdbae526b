#include "host/ShareNotice.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "host/OutcomeReport.h"
#include "linux/detail/FileViewer.h"
#include "platform/NSUserNotificationCenter.h"
#include "platform/detail/Translation.h"
#include "text/PrintableText.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

constexpr const char* kIdentifier = "share";
constexpr std::size_t kMaxNoticeLines = 5;
/// Back to the line's beginning, and the rest of it cleared.
constexpr std::string_view kClearLine = "\r\x1B[K";

void writeToTerminal(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(STDERR_FILENO, text.data(), text.size());
    if (count <= 0) return;  // there is nobody to tell
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

/// As much of a text as one line of the terminal holds.
std::string cutToTerminal(const std::string& text) {
  winsize size{};
  const bool isKnown = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  const std::size_t room = isKnown ? size.ws_col - 1 : 79;
  std::string cut;
  std::size_t columns = 0;
  for (const char byte : text) {
    if (!isUTF8Continuation(byte) && columns++ == room) break;
    cut += byte;
  }
  return cut;
}

}  // namespace

struct ShareNotice::State {
  const NoticeOptions options;
  const std::shared_ptr<Cancellation> cancellation;

  std::mutex mutex;
  std::condition_variable changed;
  std::string text;
  double part = -1;
  bool isNew = false;  // what is to be shown differs from what is shown
  bool isTooLate = false;
  bool hasEnded = false;
  bool isButtonDone = false;
  bool isNotified = false;
  bool hasLine = false;  // on the terminal
  std::thread worker;

  State(NoticeOptions chosen, std::shared_ptr<Cancellation> given)
      : options(chosen), cancellation(std::move(given)) {}

  /// Shows what goes on, until it has ended.
  static void work(const std::shared_ptr<State>& state) {
    std::unique_lock lock(state->mutex);
    const auto hasEnded = [&] { return state->hasEnded; };
    if (state->changed.wait_for(lock, state->options.quiet, hasEnded)) return;
    for (;;) {
      state->changed.wait(lock, [&] { return state->hasEnded || state->isNew; });
      if (state->hasEnded) return;
      state->isNew = false;
      show(state, lock);
      if (state->changed.wait_for(lock, state->options.pace, hasEnded)) return;
    }
  }

  static void show(const std::shared_ptr<State>& state, std::unique_lock<std::mutex>& lock) {
    const std::string shown = printableText(state->text, LineBreaks::show);
    const double part = state->part;
    if (state->options.onTerminal) {
      std::string line = shown;
      if (part >= 0) {
        line = translated("{0} {1} %", shown,
                          std::to_string(static_cast<int>(std::min(part, 1.0) * 100)));
      }
      state->hasLine = true;
      writeToTerminal(std::string(kClearLine) + cutToTerminal(line));
    }
    if (!state->options.inNotification) return;
    NSUserNotification notification{.identifier = kIdentifier,
                                    .title = translated("Send by Mail"),
                                    .informativeText = shown,
                                    .progress = part};
    if (state->isTooLate) {
      notification.informativeText =
          translated("It is too late to cancel: the mail client already has the message.");
      notification.progress = -1;
    } else if (state->cancellation) {
      notification.actionButtonTitle = translated("Cancel");
      notification.activated = [state](const std::string&) { state->cancel(); };
    }
    state->isNotified = true;
    lock.unlock();
    const auto center = NSUserNotificationCenter::defaultUserNotificationCenter();
    (void)center->deliverNotification(notification);
    lock.lock();
  }

  void cancel() {
    if (cancellation->cancel()) return;
    const std::lock_guard lock(mutex);
    isTooLate = true;
    isNew = true;
    changed.notify_all();
  }

  void clearLine() {
    if (std::exchange(hasLine, false)) writeToTerminal(kClearLine);
  }

  void finishButton() {
    const std::lock_guard lock(mutex);
    isButtonDone = true;
    changed.notify_all();
  }
};

ShareNotice::ShareNotice(NoticeOptions options, std::shared_ptr<Cancellation> cancellation)
    : state_(std::make_shared<State>(options, std::move(cancellation))) {}

ShareNotice::~ShareNotice() { end(); }

void ShareNotice::progress(const std::string& text, double part) {
  const std::lock_guard lock(state_->mutex);
  if (state_->text == text && state_->part == part) return;
  state_->text = text;
  state_->part = part;
  state_->isNew = true;
  state_->changed.notify_all();
  const bool isShown = state_->options.inNotification || state_->options.onTerminal;
  if (!isShown || state_->hasEnded || state_->worker.joinable()) return;
  try {
    state_->worker = std::thread([state = state_] { State::work(state); });
  } catch (const std::system_error&) {  // a share goes on without
  }
}

void ShareNotice::aside(const std::function<void()>& write, std::string_view text) {
  const std::lock_guard lock(state_->mutex);
  const bool hadLine = state_->hasLine;
  state_->clearLine();
  write();
  const bool isWritten = state_->text == text && !state_->options.inNotification;
  if (isWritten) state_->isNew = false;
  if (isWritten || !hadLine || state_->hasEnded) return;
  state_->isNew = true;
  state_->changed.notify_all();
}

void ShareNotice::end() {
  std::thread worker;
  {
    const std::lock_guard lock(state_->mutex);
    state_->hasEnded = true;
    state_->clearLine();
    state_->changed.notify_all();
    worker = std::move(state_->worker);
  }
  if (worker.joinable()) worker.join();
  const std::lock_guard lock(state_->mutex);
  if (!std::exchange(state_->isNotified, false)) return;
  NSUserNotificationCenter::defaultUserNotificationCenter()->removeDeliveredNotification(
      kIdentifier);
}

void ShareNotice::tell(const Message& message) {
  if (!state_->options.inNotification) return;
  NSUserNotification notification{
      .identifier = kIdentifier, .title = message.title, .informativeText = message.text};
  if (!message.file.empty()) {
    notification.actionButtonTitle = translated("Show File");
    notification.activated = [state = state_, file = message.file](const std::string& token) {
      (void)showInFileManager(file, {token, token});
      state->finishButton();
    };
    notification.closed = [state = state_] { state->finishButton(); };
  }
  const auto center = NSUserNotificationCenter::defaultUserNotificationCenter();
  const auto delivery = center->deliverNotification(notification);
  if (delivery != NSUserNotificationDelivery::shownWithButton) return;
  {
    std::unique_lock lock(state_->mutex);
    if (state_->changed.wait_for(lock, state_->options.buttonTime,
                                 [&] { return state_->isButtonDone; })) {
      return;
    }
  }
  notification.actionButtonTitle.clear();
  (void)center->deliverNotification(notification);
}

ShareNotice::Message messageOf(const ShareOutcome& outcome) {
  ShareOutcome named = outcome;
  ShareNotice::Message message;
  for (MissingThing& missing : named.missing) {
    missing.told = false;
    if (missing.path.empty()) continue;
    std::error_code error;
    const std::filesystem::path path(missing.path);
    if (message.file.empty() && std::filesystem::exists(symlink_status(path, error))) {
      message.file = missing.path;
    }
    if (const std::string name = path.filename(); !name.empty()) missing.item = name;
  }
  std::vector<std::string> lines;
  switch (outcome.status) {
    case ShareOutcome::Status::opened:
      if (outcome.missing.empty()) return {};
      message.title = outcome.empty ? translated("Nothing is in the message")
                                    : translated("Not everything is in the message");
      lines = outcomeLines(named, kMaxNoticeLines);
      break;
    case ShareOutcome::Status::notOpened:
    case ShareOutcome::Status::refused:
      message.title = translated("The message was not opened");
      lines = {outcome.reason};
      message.file.clear();
      break;
  }
  for (const std::string& line : lines) {
    if (!message.text.empty()) message.text += '\n';
    message.text += printableText(line, LineBreaks::show);
  }
  return message;
}

}  // namespace korvane
