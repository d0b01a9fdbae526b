#pragma once

// What the programs of the edition that was built are called, and where their resources are.
// Several editions may be installed side by side.

#include <string>
#include <string_view>

#include "linux/LinuxPlatform.h"

namespace korvane {

/// The name under which this edition installs a program: "korvane-share-beta10" for
/// "korvane-share", and the name itself in the regular edition.
std::string ownName(std::string_view program);

/// The text with every mention of a program replaced by its own name. "korvane-share" is mentioned
/// where neither a letter, a digit nor a dash goes on.
std::string withOwnName(std::string_view text, std::string_view program);

/// Options for services that read this edition's info dictionary and message catalogues, under
/// `bundleIdentifier` unless it is empty, and whose notifications and jobs name its application.
LinuxOptions ownServices(std::string_view bundleIdentifier = {});

}  // namespace korvane
