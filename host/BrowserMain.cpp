#include "host/BrowserMain.h"

#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <utility>

#include "host/BrowserMessage.h"
#include "host/Edition.h"
#include "host/InputError.h"
#include "host/OutcomeReport.h"
#include "host/Program.h"
#include "host/ShareRun.h"
#include "host/WatchedServices.h"
#include "linux/detail/ContainerRoot.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

ShareOutcome shareMessage() {
  ShareRequest request = requestOfBrowserMessage(readBrowserMessage(STDIN_FILENO));
  Platform::install(watchedLinuxServices(ownServices()));
  return runShare(std::move(request), {.container = ContainerRoot().path()});
}

ShareOutcome failure(ShareOutcome::Status status, std::string reason) {
  return {.status = status, .reason = std::move(reason)};
}

ShareOutcome outcomeOfMessage() {
  try {
    return shareMessage();
  } catch (const InputError& error) {
    return failure(ShareOutcome::Status::refused, error.what());
  } catch (const std::bad_alloc&) {
    return failure(ShareOutcome::Status::notOpened, translated("there is not enough memory"));
  } catch (const std::exception& error) {
    return failure(ShareOutcome::Status::notOpened, textOf(error));
  }
}

/// What the extension shows a person: a reason that belongs to no thing stands alone.
std::string answerFor(ShareOutcome& outcome) {
  if (outcome.status != ShareOutcome::Status::opened && outcome.missing.empty()) {
    outcome.missing.push_back({.item = "", .reason = outcome.reason});
  }
  std::string json = outcomeJSON(outcome);
  while (json.size() > kMaxBrowserAnswer && !outcome.missing.empty()) {
    outcome.missing.resize(outcome.missing.size() / 2);
    json = outcomeJSON(outcome);
  }
  return framedBrowserAnswer(json);
}

}  // namespace

int BrowserMain(int argc, char* argv[]) {
  const CommandLine line{
      .program = "korvane-browser",
      .usage = {translatable("EXTENSION...")},
      .before = translatable(
          "Started by a browser for its extension: takes one message from standard input,\n"
          "shares what it holds and answers on standard output.\n"),
      .options = {},
      .after = {},
      .takeOther = [](const std::string&) {},
  };
  return runProgram(line, argc, argv, [] {
    ShareOutcome outcome = outcomeOfMessage();
    writeOut(answerFor(outcome));
    if (outcome.busy) {
      removeUnfinishedAttachments();
      std::_Exit(kDone);
    }
    return kDone;
  });
}

}  // namespace korvane
