#include <extension/ExtensionUtilities.h>
#include <linux/LinuxPlatform.h>

#include <cstdio>

int main() {
  using namespace korvane;
  LinuxOptions options;
  options.bundleIdentifier = "it.drelk.korvane.beta8.share";
  Platform::install(linuxPlatform(options));
  const auto folder = ExtensionUtilities::GroupDataPath();
  if (!folder) return 1;
  std::puts(folder->absoluteString().c_str());
  return folder->absoluteString().ends_with("/SharedDataBeta") ? 0 : 1;
}
