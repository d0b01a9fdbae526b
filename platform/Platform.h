#pragma once

#include <memory>

#include "platform/Clock.h"
#include "platform/Dispatch.h"
#include "platform/Export.h"
#include "platform/NSAttributedString.h"
#include "platform/NSBundle.h"
#include "platform/NSDataDetector.h"
#include "platform/NSDateFormatter.h"
#include "platform/NSFileCoordinator.h"
#include "platform/NSFileManager.h"
#include "platform/NSImage.h"
#include "platform/NSLog.h"
#include "platform/NSPropertyList.h"
#include "platform/NSUserNotificationCenter.h"
#include "platform/NSWorkspace.h"

namespace korvane {

/// The services a process runs on. A program installs one set at its start; a test installs its
/// own.
struct KORVANE_EXPORT Platform {
  /// What a process has before it installs anything, and what a new set starts from: a bundle
  /// without resources, the log on standard error, the system's clock and a thread pool. Every
  /// other service fails in its documented way: there is no container, nothing is coordinated,
  /// read, decoded, found, formatted, opened or shown.
  Platform();

  // Where one is null, install() puts the one of a new set.
  std::shared_ptr<NSBundle> bundle;
  std::shared_ptr<NSFileManager> fileManager;
  std::shared_ptr<NSFileCoordinator> fileCoordinator;
  std::shared_ptr<PropertyListReader> propertyLists;
  std::shared_ptr<ImageCodec> images;
  std::shared_ptr<HTMLReader> html;
  std::shared_ptr<DateFormatterMaker> dates;
  std::shared_ptr<NSDataDetector> links;
  std::shared_ptr<NSWorkspace> workspace;
  std::shared_ptr<NSUserNotificationCenter> notifications;
  std::shared_ptr<LogSink> log;
  std::shared_ptr<Clock> clock;
  std::shared_ptr<DispatchQueue> queue;

  /// The installed set. Any thread may call; the set stays as it is while it is held.
  static std::shared_ptr<const Platform> current();
  /// Replaces the installed set. Operations that run go on with the one they have.
  static void install(Platform platform);
};

}  // namespace korvane
