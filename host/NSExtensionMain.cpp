#include "host/NSExtensionMain.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/Arguments.h"
#include "host/CommandLineRequest.h"
#include "host/Diagnosis.h"
#include "host/Edition.h"
#include "host/InputError.h"
#include "host/Interruption.h"
#include "host/JSONWriter.h"
#include "host/OutcomeReport.h"
#include "host/Program.h"
#include "host/ScreenshotRequest.h"
#include "host/ShareNotice.h"
#include "host/ShareRun.h"
#include "host/WatchedServices.h"
#include "linux/detail/ContainerRoot.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

constexpr std::string_view kProgram = "korvane-share";

/// Memory that was freed is kept for what is allocated next. One picture after the other takes four
/// blocks of tens of megabytes, and fresh ones have to be cleared by the kernel: a twentieth of all
/// that a share of photos costs. Before any thread is started.
void keepFreedMemory() {
  constexpr int kLargest = std::numeric_limits<int>::max();
  mallopt(M_ARENA_MAX, 1);
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, kLargest);
}

void complain(std::string_view line) noexcept { fail(kProgram, kFailed, line); }

/// One line of JSON with the application, the options and the URLs. The URLs, of up to 64 MiB, are
/// written as they stand: they hold nothing that JSON escapes.
void printOpening(const std::vector<NSURL>& urls, std::string_view application, unsigned options) {
  writeOut("{\"application\":" + jsonString(application) +
           ",\"options\":" + std::to_string(options) + ",\"urls\":[");
  const char* before = "\"";
  for (const NSURL& url : urls) {
    writeOut(before);
    writeOut(url.absoluteString());
    writeOut("\"");
    before = ",\"";
  }
  writeOut("]}\n");
}

ShareOutcome ended(ShareOutcome::Status status, std::string what, std::string reason) {
  ShareOutcome outcome{.status = status, .reason = std::move(reason)};
  outcome.missing = {{std::move(what), outcome.reason}};
  return outcome;
}

/// Where this run is shown.
NoticeOptions noticeOptions(const Arguments& arguments) {
  const bool isTerminal = ::isatty(STDERR_FILENO) != 0;
  const bool isForPrograms = arguments.json || arguments.dryRun;
  return {.inNotification = arguments.notify.value_or(!isTerminal && !isForPrograms),
          .onTerminal = isTerminal};
}

/// Log lines that a terminal shows stand on lines of their own.
class LogBesideNotice : public LogSink {
 public:
  LogBesideNotice(std::shared_ptr<LogSink> log, std::shared_ptr<ShareNotice> notice)
      : log_(std::move(log)), notice_(std::move(notice)) {}
  void write(std::string_view line) noexcept override {
    notice_->aside([&]() noexcept { log_->write(line); });
  }

 private:
  const std::shared_ptr<LogSink> log_;
  const std::shared_ptr<ShareNotice> notice_;
};

/// Tells the outcome; gives the exit status.
int tell(const ShareOutcome& outcome, const Arguments& arguments) noexcept {
  try {
    for (const std::string& line : outcomeLines(outcome)) complain(line);
    if (arguments.json) writeOut(outcomeJSON(outcome));
  } catch (const std::bad_alloc&) {
    return fail(kProgram, kFailed,
                translationOf("there is not enough memory to tell what came of it"));
  } catch (const std::exception& error) {
    return fail(kProgram, kFailed, error.what());
  }
  if (outcome.status == ShareOutcome::Status::refused) return kUsage;
  return isHandedOver(outcome) ? kDone : kFailed;
}

/// Where what is shared and has no place of its own lies meanwhile: beside the container.
std::string privateParent() {
  namespace fs = std::filesystem;
  const auto container = ContainerRoot().path();
  return container ? fs::path(*container).parent_path() : fs::temp_directory_path();
}

ShareOutcome run(const Arguments& arguments, const std::shared_ptr<ShareNotice>& notice,
                 const std::shared_ptr<Cancellation>& cancellation) {
  keepFreedMemory();
  LinuxOptions services = ownServices(arguments.identifier);
  services.logToStandardError = arguments.verbose;
  Platform platform = watchedLinuxServices(std::move(services));
  if (noticeOptions(arguments).onTerminal) {
    platform.log = std::make_shared<LogBesideNotice>(std::move(platform.log), notice);
  }
  Platform::install(std::move(platform));

  ShareOptions options{.container = ContainerRoot().path()};
  options.hooks.cancellation = cancellation;
  options.hooks.tell = [&notice](const std::string& line) {
    notice->aside([&] { complain(line); }, line);
  };
  options.hooks.progress = [&notice](const std::string& text, double part) {
    notice->progress(text, part);
  };
  std::optional<std::string> unwritten;
  if (arguments.dryRun) {
    options.hooks.dryRun = [&](const auto&... opening) {
      try {
        printOpening(opening...);
      } catch (const std::exception& error) {
        unwritten = error.what();
      }
    };
  }
  const Interruption interruption([&arguments, &notice] {
    notice->end();
    const ShareOutcome outcome =
        ended(ShareOutcome::Status::notOpened, translated("the share"),
              translated("it was interrupted before the mail client answered"));
    tell(outcome, arguments);
    removeUnfinishedAttachments();
    removeUnfinishedAttachments();  // what was being written in the meantime
  });
  // The person's choosing is under none of the share's limits.
  std::optional<ScreenshotRequest> screenshot;
  if (arguments.screenshot) screenshot.emplace(privateParent(), *cancellation);
  ShareRequest request = screenshot ? screenshot->request() : requestFromArguments(arguments);
  ShareOutcome outcome = runShare(std::move(request), options);
  notice->end();
  if (unwritten) {
    outcome.status = ShareOutcome::Status::notOpened;
    outcome.reason = *std::move(unwritten);
  }
  return outcome;
}

/// Shows in a notification what is missing; whoever cancelled knows.
void notify(const ShareOutcome& outcome, const Cancellation& cancellation,
            ShareNotice& notice) noexcept {
  try {
    if (cancellation.isCancelled()) return;
    const ShareNotice::Message message = messageOf(outcome);
    if (!message.title.empty()) notice.tell(message);
  } catch (const std::exception&) {  // it stands on standard error
  }
}

int share(const Arguments& arguments) {
  using Status = ShareOutcome::Status;
  ShareOutcome outcome;
  const auto cancellation = std::make_shared<Cancellation>();
  const auto notice = std::make_shared<ShareNotice>(noticeOptions(arguments), cancellation);
  try {
    outcome = run(arguments, notice, cancellation);
  } catch (const InputError& error) {
    outcome = ended(Status::refused, translated("the request"), error.what());
  } catch (const std::bad_alloc&) {
    outcome =
        ended(Status::notOpened, translated("the share"), translated("there is not enough memory"));
  } catch (const std::exception& error) {
    outcome = ended(Status::notOpened, translated("the share"), textOf(error));
  }
  notice->end();
  const int status = tell(outcome, arguments);
  if (outcome.busy) removeUnfinishedAttachments();
  notify(outcome, *cancellation, *notice);
  if (outcome.busy) {
    removeUnfinishedAttachments();  // what went on meanwhile
    std::_Exit(status);
  }
  return status;
}

}  // namespace

int NSExtensionMain(int argc, char* argv[]) {
  Arguments arguments;
  CommandLine line = shareCommandLine(arguments);
  line.refused = [&](const std::string& reason) {
    // Wherever it stands: the option that is wrong may come first.
    if (std::find(argv, argv + argc, std::string_view("--json")) == argv + argc) return;
    writeOut(
        outcomeJSON(ended(ShareOutcome::Status::refused, translated("the command line"), reason)));
  };
  return runProgram(line, argc, argv, [&] {
    if (!arguments.doctor) return share(arguments);
    const Diagnosis diagnosis = diagnose(ownServices(arguments.identifier));
    writeOut(arguments.json ? diagnosisJSON(diagnosis) : diagnosisText(diagnosis));
    return static_cast<int>(kDone);
  });
}

}  // namespace korvane
