// Staging files for the mail client in the container that it shares with the extension.
#include <cstdio>
#include <fstream>

#include "extension/ExtensionUtilities.h"
#include "linux/LinuxPlatform.h"

using namespace korvane;

int main() {
  Platform::install(linuxPlatform({.bundleIdentifier = "it.drelk.korvane.share"}));

  const std::optional<NSURL> folder = ExtensionUtilities::GroupDataPath();
  if (!folder) return 1;
  std::printf("The data folder is %s\n", folder->fileSystemRepresentation().c_str());

  // Each share empties the staging folder; files get names that are free in it.
  ExtensionUtilities::ShareInit("Share");
  const std::string source = folder->fileSystemRepresentation() + "/example.txt";
  std::ofstream(source) << "Tea at five.\n";
  const List staged = ExtensionUtilities::ShareFiles("Share", {source, source, "/no/such/file"});
  for (const Value& path : staged) std::printf("staged as %s\n", path.description().c_str());

  // A message hands on what was staged; what could not be is in the log.
  ExtensionMessage message;
  message.addAttachments(staged);
  const std::optional<NSURL> url = message.queryUrl("compose");
  if (url) std::printf("%s\n", url->absoluteString().c_str());
  return staged.size() == 2 && staged[0].text().ends_with("/Share/example.txt") &&
                 staged[1].text().ends_with("/Share/example_1.txt")
             ? 0
             : 1;
}
