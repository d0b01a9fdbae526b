#include "extension/ExtensionUtilities.h"
#include "platform/NSBundle.h"
#include "platform/NSFileManager.h"

namespace korvane {
namespace {

constexpr std::string_view kBetaPrefix = "it.drelk.korvane.beta";

}  // namespace

std::string ExtensionUtilities::GroupFolderName() {
  const Value identifier = NSBundle::mainBundle()->objectForInfoDictionaryKey("CFBundleIdentifier");
  const bool isBeta = identifier.isText() && identifier.text().starts_with(kBetaPrefix);
  return isBeta ? "SharedDataBeta" : "SharedData";
}

std::optional<NSURL> ExtensionUtilities::GroupPath() {
  return NSFileManager::defaultManager()->containerURLForSecurityApplicationGroupIdentifier(
      kApplicationGroup);
}

std::optional<NSURL> ExtensionUtilities::GroupDataPath() {
  const std::optional<NSURL> container = GroupPath();
  if (!container) return std::nullopt;
  return container->URLByAppendingPathComponent(GroupFolderName());
}

}  // namespace korvane
