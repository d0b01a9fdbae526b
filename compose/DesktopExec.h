#pragma once

#include <optional>
#include <string>
#include <vector>

#include "compose/InstalledClient.h"

namespace korvane {

/// The command that a client's desktop entry makes of a URL: the words of its Exec line with their
/// field codes replaced, each word staying one argument whatever the URL holds; in a terminal where
/// the entry wants one. A line without a place for a URL gets it at its end. Nothing where a
/// terminal is wanted and none is installed. Any thread may call.
std::optional<std::vector<std::string>> commandOfEntry(const InstalledClient& client,
                                                       const std::string& url);

/// The command that runs another one in a terminal; nothing where no terminal is installed.
std::optional<std::vector<std::string>> commandInTerminal(std::vector<std::string> command);

}  // namespace korvane
