#include "linux/LinuxPlatform.h"

#include <memory>
#include <optional>
#include <utility>

#include "formats/html/HTML.h"
#include "formats/links/LinkDetector.h"
#include "linux/detail/ContainerRoot.h"
#include "linux/detail/DateFormatters.h"
#include "linux/detail/FileCoordinator.h"
#include "linux/detail/FileManager.h"
#include "linux/detail/Images.h"
#include "linux/detail/LowPriority.h"
#include "linux/detail/MainBundle.h"
#include "linux/detail/MessageCatalogue.h"
#include "linux/detail/PropertyLists.h"
#include "linux/detail/SystemLog.h"
#include "linux/detail/UserNotifications.h"
#include "linux/detail/Workspace.h"

namespace korvane {

Platform linuxPlatform(const LinuxOptions& options) {
  useMessageCatalogue(options.resources);
  Platform services;  // brings the system's clock and a thread pool
  const ContainerRoot container =
      options.container.empty() ? ContainerRoot() : ContainerRoot(std::optional(options.container));
  services.queue = std::make_shared<LowPriorityQueue>(std::move(services.queue));
  services.bundle =
      std::make_shared<MainBundle>(options.bundleIdentifier, programDataFolder(options.resources));
  services.fileManager = std::make_shared<FileManager>(FileManagerOptions{.container = container});
  services.fileCoordinator = std::make_shared<FileCoordinator>(container);
  services.propertyLists = std::make_shared<PropertyLists>(container);
  services.images = std::make_shared<Images>();
  services.html = std::make_shared<HTML>();
  services.dates = std::make_shared<DateFormatters>();
  services.links = std::make_shared<LinkDetector>();
  services.workspace = std::make_shared<Workspace>(options.launchFailure);
  services.notifications = std::make_shared<UserNotifications>(
      NotifyingApplication{options.applicationName, options.applicationEntry});
  services.log = std::make_shared<SystemLog>(SystemLogOptions{options.logToStandardError});
  return services;
}

}  // namespace korvane
