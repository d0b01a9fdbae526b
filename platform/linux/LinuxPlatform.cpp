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
  services.bundle = std::make_shared<MainBundle>(options.bundleIdentifier);
  services.fileManager = std::make_shared<FileManager>();
  services.fileCoordinator = std::make_shared<FileCoordinator>();
  services.propertyLists = std::make_shared<PropertyLists>();
  services.images = std::make_shared<Images>();
  services.html = std::make_shared<HTML>();
  services.dates = std::make_shared<DateFormatters>();
  services.links = std::make_shared<LinkDetector>();
  services.workspace = std::make_shared<Workspace>(options.launchFailure);
  services.log = std::make_shared<SystemLog>(SystemLogOptions{options.logToStandardError});
  return services;
}

}  // namespace korvane
