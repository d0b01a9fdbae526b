#include "platform/linux/LinuxPlatform.h"

#include <memory>

#include "platform/linux/DateFormatters.h"
#include "platform/linux/FileCoordinator.h"
#include "platform/linux/FileManager.h"
#include "platform/linux/HTML.h"
#include "platform/linux/Images.h"
#include "platform/linux/LinkDetector.h"
#include "platform/linux/MainBundle.h"
#include "platform/linux/PropertyLists.h"
#include "platform/linux/SystemLog.h"
#include "platform/linux/Workspace.h"

namespace korvane {

Platform linuxPlatform(const LinuxOptions& options) {
  Platform services;  // brings the system's clock and a thread pool
  services.bundle = std::make_shared<LinuxBundle>(options.bundleIdentifier);
  services.fileManager = std::make_shared<FileManager>();
  services.fileCoordinator = std::make_shared<FileCoordinator>();
  services.propertyLists = std::make_shared<LinuxPropertyLists>();
  services.images = std::make_shared<LinuxImages>();
  services.html = std::make_shared<LinuxHTML>();
  services.dates = std::make_shared<LinuxDates>();
  services.links = std::make_shared<LinuxLinkDetector>();
  services.workspace = std::make_shared<Workspace>(options.launchFailure);
  services.log = std::make_shared<SystemLog>(SystemLogOptions{options.logToStandardError});
  return services;
}

}  // namespace korvane
