#include <utility>

#include "extension/ExtensionUtilities.h"
#include "extension/detail/Coordination.h"
#include "model/ExtensionAccount.h"
#include "model/ExtensionGroup.h"
#include "platform/NSFileManager.h"
#include "platform/NSLog.h"
#include "platform/NSPropertyList.h"

namespace korvane {
namespace {

// A record of each element. The elements go as their records come, so that a large address book is
// not in memory twice.
template <class Record>
std::vector<std::shared_ptr<Record>> makeRecords(std::optional<List> elements) {
  std::vector<std::shared_ptr<Record>> records;
  if (!elements) return records;
  records.reserve(elements->size());
  for (Value& element : *elements) {
    records.push_back(std::make_shared<Record>(std::exchange(element, Value())));
  }
  return records;
}

std::optional<List> readList(const NSURL& folder, std::string_view name) {
  return arrayWithContentsOfURL(
      folder.URLByAppendingPathComponent(name).URLByAppendingPathExtension("plist"));
}

std::optional<NSURL> inDataFolder(std::string_view name) {
  const std::optional<NSURL> folder = ExtensionUtilities::GroupDataPath();
  if (!folder) return std::nullopt;
  return folder->URLByAppendingPathComponent(name);
}

// False where nothing is at the URL and the folder cannot be created.
bool ensureFolder(const NSURL& url) {
  const auto files = NSFileManager::defaultManager();
  if (files->fileExistsAtPath(url.fileSystemRepresentation())) return true;
  std::optional<NSError> error;
  files->createDirectoryAtURL(url, true, error);
  if (error) NSLog("[%@] AddressesAndGroups %@", kErrorMark, error);
  return !error;
}

}  // namespace

std::vector<std::shared_ptr<ExtensionAccount>> ExtensionUtilities::Accounts() {
  std::optional<NSURL> url = inDataFolder("Accounts");
  if (url) url = url->URLByAppendingPathExtension("plist");
  std::optional<List> accounts;
  coordinate(url, "[%@] NSFileCoordinator Accounts %@",
             [&](const NSURL& file) { accounts = arrayWithContentsOfURL(file); });
  return makeRecords<ExtensionAccount>(std::move(accounts));
}

Dictionary ExtensionDirectory::dictionary() const {
  return {{"addresses", List(addresses.begin(), addresses.end())},
          {"groups", List(groups.begin(), groups.end())}};
}

ExtensionDirectory ExtensionUtilities::AddressesAndGroups() {
  std::optional<List> addresses;
  std::optional<List> groups;
  coordinate(inDataFolder("Contacts"), "[%@] NSFileCoordinator AddressesAndGroups %@",
             [&](const NSURL& folder) {
               // A file of that name counts as there; the lists in it are then missing.
               if (!ensureFolder(folder)) return;
               addresses = readList(folder, "Addresses");
               groups = readList(folder, "Groups");
             });
  ExtensionDirectory directory;
  directory.addresses = makeRecords<ExtensionAddress>(std::move(addresses));
  directory.groups = makeRecords<ExtensionGroup>(std::move(groups));
  return directory;
}

}  // namespace korvane
