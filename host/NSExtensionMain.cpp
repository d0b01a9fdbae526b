#include "host/NSExtensionMain.h"

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <new>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/Arguments.h"
#include "host/CommandLineRequest.h"
#include "host/ExtensionHost.h"
#include "host/InputError.h"
#include "host/PrintableText.h"
#include "linux/LinuxPlatform.h"
#include "linux/detail/ContainerRoot.h"
#include "linux/detail/RemoteFiles.h"
#include "linux/detail/ShareTurn.h"

namespace korvane {
namespace {

enum ExitStatus { kHandedOver = 0, kNotHandedOver = 1, kUsage = 2 };

void complain(const std::string& line) {
  // The line may hold names from outside.
  const std::string shown = printableText(line, LineBreaks::show);
  std::fprintf(stderr, "korvane-share: %s\n", shown.c_str());
}

bool print(const std::string& text) {
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() &&
         std::fflush(stdout) == 0;
}

std::string describe(const Opening& opening) {
  nlohmann::ordered_json urls = nlohmann::ordered_json::array();
  for (const NSURL& url : opening.urls) urls.push_back(url.absoluteString());
  nlohmann::ordered_json line;
  line["application"] = opening.application;
  line["options"] = opening.options;
  line["urls"] = std::move(urls);
  return line.dump() + '\n';
}

/// Keeps what the desktop said when it refused.
class LaunchFailure {
 public:
  void set(std::string_view reason) {
    std::lock_guard lock(mutex_);
    reason_ = reason;
  }
  std::string reason() const {
    std::lock_guard lock(mutex_);
    return reason_.empty() ? "the application could not be opened" : reason_;
  }

 private:
  mutable std::mutex mutex_;
  std::string reason_;
};

/// Tells what came of a share: at most one line where it was not handed over. `unread` holds what
/// could not even be read, and why.
int report(const ShareOutcome& outcome, const std::vector<std::string>& unread,
           const Arguments& arguments, const LaunchFailure& failure) {
  if (!outcome.opening) {
    complain("not handed over: no address could be made of the message");
    return kNotHandedOver;
  }
  if (!outcome.opening->accepted) {
    complain("not handed over: " + failure.reason());
    return kNotHandedOver;
  }
  if (arguments.dryRun && !print(describe(*outcome.opening))) {
    complain("standard output cannot be written");
    return kNotHandedOver;
  }
  // Of loads that are still running no log line tells.
  const char* late = outcome.busy ? " within ten seconds" : "";
  const char* hint = arguments.verbose || outcome.busy ? "" : " (run with -v to see why)";
  if (outcome.empty) {
    std::string line = "nothing of what was given could be put into the message";
    line += late;
    std::string_view separator = ": ";
    for (const std::string& reason : unread) {
      line.append(separator).append(reason);
      separator = "; ";
    }
    if (outcome.missing > 0 || unread.empty()) line += hint;
    complain(line);
    return kNotHandedOver;
  }
  for (const std::string& reason : unread) complain(reason + "; not shared");
  if (outcome.missing > 0) {
    complain(std::to_string(outcome.missing) + " of " + std::to_string(outcome.attachments) +
             " attachments could not be put into the message" + late + hint);
  }
  return kHandedOver;
}

/// Whether titles are all that is shared: they become the subject of a link, and there is none.
bool holdsTitlesAlone(const ShareContext& context) {
  return context.hasContent() &&
         std::ranges::all_of(context.inputItems(), [](const NSExtensionItem& item) {
           return item.attachments.empty() && !item.attributedContentText;
         });
}

int share(const Arguments& arguments) {
  const auto failure = std::make_shared<LaunchFailure>();
  LinuxOptions options;
  options.bundleIdentifier = arguments.identifier;
  options.logToStandardError = arguments.verbose;
  options.launchFailure = [failure](std::string_view reason) { failure->set(reason); };
  const Platform services = linuxPlatform(options);
  Platform::install(services);

  std::vector<std::string> unread;
  const ShareRequest request =
      requestFromArguments(arguments, [&](const std::string& line) { unread.push_back(line); });
  const auto context = std::make_shared<ShareContext>(request, localPathOfRemoteFile);
  const ShareTurn turn(ContainerRoot().path());  // until the mail client has what is staged
  const HostMode mode = arguments.dryRun ? HostMode::dryRun : HostMode::open;
  ShareOutcome outcome = runShareExtension(context, services, mode);
  if (!unread.empty() && !context->hasContent()) outcome.empty = true;
  if (holdsTitlesAlone(*context)) unread.push_back("a title is shared with a link only");
  const int status = report(outcome, unread, arguments, *failure);
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
        return print(helpText()) ? kHandedOver : kNotHandedOver;
      case Arguments::Action::version:
        return print(versionText()) ? kHandedOver : kNotHandedOver;
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
