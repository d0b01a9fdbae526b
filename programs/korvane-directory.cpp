// korvane-directory: shows the mail client's accounts and contacts.

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "extension/ExtensionUtilities.h"
#include "host/DirectoryReport.h"
#include "host/PrintableText.h"
#include "linux/LinuxPlatform.h"
#include "platform/Platform.h"

namespace {

using namespace korvane;

constexpr int kFailure = 1;
constexpr int kUsageError = 2;

constexpr const char* kUsage =
    "usage: korvane-directory [--json] [--identifier ID] accounts | contacts";
constexpr const char* kHelp =
    "\n"
    "Lists what the mail client keeps in the container: its accounts with their aliases, or its\n"
    "contacts and contact groups. What is not there makes an empty listing.\n"
    "\n"
    "  --json           for programs, as one JSON value\n"
    "  --identifier ID  run under this bundle identifier, which chooses the edition's folder\n"
    "  -h, --help       this text\n"
    "  --version        the program's version\n"
    "\n"
    "Exit status: 0, 1 when the output cannot be written, 2 for wrong usage.\n";

int fail(int status, std::string_view reason) {
  std::fprintf(stderr, "korvane-directory: %s\n", printableText(reason, LineBreaks::show).c_str());
  return status;
}

int failUsage(std::string_view reason) {
  return fail(kUsageError, std::string(reason) + " (" + kUsage + ")");
}

int writeOut(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0) {
    return 0;
  }
  return fail(kFailure, std::string("cannot write: ") + std::strerror(errno));
}

std::string listing(std::string_view what, bool asJSON) {
  if (what == "accounts") {
    const auto accounts = ExtensionUtilities::Accounts();
    return asJSON ? accountsJSON(accounts) : accountsText(accounts);
  }
  const ExtensionDirectory directory = ExtensionUtilities::AddressesAndGroups();
  return asJSON ? contactsJSON(directory) : contactsText(directory);
}

int run(const std::vector<std::string_view>& arguments) {
  constexpr std::string_view kIdentifier = "--identifier";
  bool asJSON = false;
  bool optionsEnded = false;
  std::optional<std::string> identifier;
  std::optional<std::string_view> what;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view argument = arguments[i];
    if (optionsEnded || !argument.starts_with('-')) {
      if (argument != "accounts" && argument != "contacts") {
        return failUsage("\"" + std::string(argument) + "\" is neither accounts nor contacts");
      }
      if (what) return failUsage("one of accounts and contacts, once");
      what = argument;
    } else if (argument == "--") {
      optionsEnded = true;
    } else if (argument == "--json") {
      asJSON = true;
    } else if (argument == kIdentifier || argument.starts_with("--identifier=")) {
      if (identifier) return failUsage("--identifier is given twice");
      if (argument != kIdentifier) {
        identifier = argument.substr(kIdentifier.size() + 1);
      } else if (++i < arguments.size()) {
        identifier = arguments[i];
      }
      if (!identifier || identifier->empty()) return failUsage("--identifier needs an identifier");
    } else if (argument == "-h" || argument == "--help") {
      return writeOut(std::string(kUsage) + "\n" + kHelp);
    } else if (argument == "--version") {
      return writeOut("korvane-directory " KORVANE_VERSION "\n");
    } else {
      return failUsage("unknown option " + std::string(argument));
    }
  }
  if (!what) return failUsage("accounts or contacts?");
  Platform::install(linuxPlatform({.bundleIdentifier = identifier.value_or(std::string())}));
  return writeOut(listing(*what, asJSON));
}

}  // namespace

int main(int argc, char* argv[]) {
  std::setlocale(LC_ALL, "");  // "No Mail" and "No Name" in the user's language
  // A directory larger than the memory ends in a line, not in a crash.
  try {
    return run({argv + (argc > 0 ? 1 : 0), argv + argc});
  } catch (const std::exception& exception) {
    return fail(kFailure, exception.what());
  }
}
