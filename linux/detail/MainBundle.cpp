#include "linux/detail/MainBundle.h"

#include <utility>

#include "linux/detail/PropertyLists.h"

namespace korvane {
MainBundle::MainBundle(std::string_view bundleIdentifier, const std::filesystem::path& dataFolder)
    : catalogue_(dataFolder) {
  Dictionary info;
  const auto read = readPropertyList((dataFolder / "korvane" / "Info.plist").string());
  if (read && read->isDictionary()) info = read->dictionary();
  if (!bundleIdentifier.empty()) info.set("CFBundleIdentifier", bundleIdentifier);
  info_ = std::move(info);
}

Value MainBundle::objectForInfoDictionaryKey(std::string_view key) {
  return info_.objectForKey(key);
}

std::string MainBundle::localizedStringForKey(std::string_view key, std::string_view value,
                                              std::string_view table) {
  // A catalogue keeps its header under the empty key.
  if (!key.empty() && table.empty()) {
    const std::string text(key);
    const char* translation = catalogue_.translationOf(text.c_str());
    if (translation != text.c_str()) return translation;
  }
  return std::string(value.empty() || key.empty() ? key : value);
}

bool MainBundle::loadNibNamed(std::string_view name) { return name == "ShareViewController"; }

}  // namespace korvane
