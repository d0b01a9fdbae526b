#include "host/NSExtensionMain.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/Arguments.h"
#include "host/CommandLineRequest.h"
#include "host/InputError.h"
#include "host/OutcomeReport.h"
#include "host/PrintableText.h"
#include "host/ShareRun.h"
#include "host/WatchedServices.h"
#include "linux/detail/ContainerRoot.h"

namespace korvane {
namespace {

enum ExitStatus { kHandedOver = 0, kNotHandedOver = 1, kUsage = 2 };

void complain(const std::string& line) {
  // The line may hold names from outside.
  const std::string shown = printableText(line, LineBreaks::show);
  std::fprintf(stderr, "korvane-share: %s\n", shown.c_str());
}

bool print(std::string_view text) {
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
}

/// One line of JSON with the application, the options and the URLs. The URLs, of up to 64 MiB, are
/// written as they stand: they hold nothing that JSON escapes.
bool printOpening(const std::vector<NSURL>& urls, std::string_view application, unsigned options) {
  bool isWritten = print("{\"application\":" + jsonString(application) +
                         ",\"options\":" + std::to_string(options) + ",\"urls\":[");
  const char* before = "\"";
  for (const NSURL& url : urls) {
    isWritten = isWritten && print(before) && print(url.absoluteString()) && print("\"");
    before = ",\"";
  }
  return isWritten && print("]}\n") && std::fflush(stdout) == 0;
}

int share(const Arguments& arguments) {
  LinuxOptions services;
  services.bundleIdentifier = arguments.identifier;
  services.logToStandardError = arguments.verbose;
  Platform::install(watchedLinuxServices(std::move(services)));

  ShareOptions options{.container = ContainerRoot().path()};
  options.hooks.tell = complain;
  bool isWritten = true;
  if (arguments.dryRun) {
    options.hooks.dryRun = [&](const auto&... opening) { isWritten = printOpening(opening...); };
  }
  const ShareOutcome outcome = runShare(requestFromArguments(arguments), options);
  if (!isWritten) complain("standard output cannot be written");
  for (const std::string& line : outcomeLines(outcome)) complain(line);
  const int status = isWritten && isHandedOver(outcome) ? kHandedOver : kNotHandedOver;
  if (outcome.busy) {
    removeUnfinishedAttachments();
    std::fflush(nullptr);
    std::_Exit(status);
  }
  return status;
}

}  // namespace

int NSExtensionMain(int argc, char* argv[]) {
  std::setlocale(LC_ALL, "");
  try {
    const Arguments arguments = parseArguments(std::vector<std::string>(argv + 1, argv + argc));
    switch (arguments.action) {
      case Arguments::Action::help:
        return print(helpText()) && std::fflush(stdout) == 0 ? kHandedOver : kNotHandedOver;
      case Arguments::Action::version:
        return print(versionText()) && std::fflush(stdout) == 0 ? kHandedOver : kNotHandedOver;
      case Arguments::Action::share:
        break;
    }
    return share(arguments);
  } catch (const InputError& error) {
    complain(error.what() + std::string(" (see korvane-share --help)"));
    return kUsage;
  } catch (const std::bad_alloc&) {
    complain("not handed over: there is not enough memory");
    return kNotHandedOver;
  } catch (const std::exception& error) {
    complain(std::string("not handed over: ") + error.what());
    return kNotHandedOver;
  }
}

}  // namespace korvane
