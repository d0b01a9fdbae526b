#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "linux/detail/DesktopEntry.h"
#include "platform/Export.h"
#include "platform/NSWorkspace.h"
#include "platform/detail/Translation.h"

namespace korvane {

/// How long a workspace waits.
struct WorkspaceLimits {
  /// For a session bus to take a connection.
  std::chrono::milliseconds connecting{5'000};
  /// For an application to answer. It may open its window all the same, later.
  std::chrono::milliseconds answering{60'000};
};

/// Why an opening failed whose application was reached and has not answered: it may still do what
/// it was asked to.
inline constexpr const char* kNotAnsweredYet =
    translatable("the mail client has not answered yet; its window may still come");

/// As long as this lives, the openings of the calling thread that are in the foreground have this
/// activation, whatever the launcher's was; for a program that works for several callers. One at a
/// time in a thread.
class KORVANE_EXPORT ActivationScope {
 public:
  explicit ActivationScope(Activation activation);
  ~ActivationScope();
  ActivationScope(const ActivationScope&) = delete;
  ActivationScope& operator=(const ActivationScope&) = delete;
};

/// Opens URLs with an application of the Linux desktop. An application's identifier is the name of
/// its desktop entry and its name on the session bus.
///
/// The road is the bus: org.freedesktop.Application.Open on the application's name, which starts
/// the application where it can be started by name, with all URLs in one call. Where nothing owns
/// the name and nothing can be started by it, or there is no session bus, the Exec line of the
/// desktop entry is run instead, as a process of its own without our terminal. An application that
/// was reached and refuses is not tried on another road.
///
/// In the foreground the application gets the launcher's XDG_ACTIVATION_TOKEN and
/// DESKTOP_STARTUP_ID, with which the desktop lets it come to the front: as "activation-token" and
/// "desktop-startup-id" on the bus, as the same variables on the Exec road. In the background
/// (NSWorkspaceLaunchWithoutActivation) it gets neither. See ActivationScope for other tokens.
///
/// Limits: all URLs of one call over the bus hold less than 64 MiB; one of the Exec road 131,071
/// bytes.
class KORVANE_EXPORT Workspace : public NSWorkspace {
 public:
  /// Gets one line, for people, about why something was not opened. It holds no URL, and of
  /// what an application answered only the lines that what stands in for the mail client has for
  /// people: its errors NAME.Error.NoMailClient, NotSupported and Failed.
  using FailureReport = std::function<void(std::string_view reason)>;

  /// Takes both variables out of the process's environment, which no other thread may use in the
  /// meantime: make it before the first thread is started. They serve for the first opening in the
  /// foreground.
  explicit Workspace(FailureReport report = {}, WorkspaceLimits limits = {});

  bool openURLs(const std::vector<NSURL>& urls, std::string_view withAppBundleIdentifier,
                unsigned options) override;

 private:
  Activation takeActivation(unsigned options);

  const FailureReport report_;
  const WorkspaceLimits limits_;
  std::mutex mutex_;
  Activation activation_;
};

}  // namespace korvane
