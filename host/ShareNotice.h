#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "host/Cancellation.h"
#include "host/Handover.h"

namespace korvane {

/// What a program shows of its work, and when.
struct NoticeOptions {
  /// In a notification.
  bool inNotification = false;
  /// In a line of standard error, which is a terminal.
  bool onTerminal = false;
  /// What takes no longer than this is not shown while it goes on.
  std::chrono::milliseconds quiet{1500};
  /// What is shown changes no more often than this.
  std::chrono::milliseconds pace{500};
  /// How long the button of a message works. The process stays for it, and only for it; then the
  /// message stays without its button.
  std::chrono::milliseconds buttonTime{30'000};
};

/// What the person sees of one share: how far it is, with a button that ends it, once it has taken
/// a while; and at the end what is missing, in the same place. Nothing where all is well at once.
///
/// The notifications are the installed Platform's. Nobody waits for them but end(), for at most
/// five seconds. Any thread may call.
class ShareNotice {
 public:
  ShareNotice(NoticeOptions options, std::shared_ptr<Cancellation> cancellation);
  /// As end().
  ~ShareNotice();
  ShareNotice(const ShareNotice&) = delete;
  ShareNotice& operator=(const ShareNotice&) = delete;

  /// What goes on: for RunHooks::progress. The time counts from the first call.
  void progress(const std::string& text, double part);
  /// Has `write` write a line to standard error, with nothing of ours in it. Where the line is
  /// `text`, a terminal needs not show it again below.
  void aside(const std::function<void()>& write, std::string_view text = {});
  /// Takes away what is shown of what went on. Nothing is shown after that.
  void end();

  /// The title and the text of a message.
  struct Message {
    std::string title;
    std::string text;
    /// The file that its button shows, an absolute path; empty for no button.
    std::string file{};
  };
  /// After end(): shows a message in the same notification. Stays until the button was pressed, the
  /// message was closed or the button's time is over.
  void tell(const Message& message);

 private:
  struct State;

  const std::shared_ptr<State> state_;
};

/// What the person should know about the outcome of a share, as a message; an empty title where
/// that is nothing. Files are named without their folders.
ShareNotice::Message messageOf(const ShareOutcome& outcome);

}  // namespace korvane
