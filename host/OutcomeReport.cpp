#include "host/OutcomeReport.h"

#include <cstddef>

#include "host/Edition.h"
#include "host/JSONWriter.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

std::string nothingLine(const std::vector<MissingThing>& missing, std::size_t maxLines) {
  std::string list;
  for (std::size_t i = 0; i < missing.size() && i < maxLines; ++i) {
    list += (i == 0 ? "" : "; ") + missing[i].item + ": " + missing[i].reason;
  }
  if (missing.size() > maxLines) {
    list = translated("{0}; and {1} more", list, std::to_string(missing.size() - maxLines));
  }
  return translated("nothing of what was given could be put into the message: {0}", list);
}

}  // namespace

std::vector<std::string> outcomeLines(const ShareOutcome& outcome, std::size_t maxLines) {
  switch (outcome.status) {
    case ShareOutcome::Status::refused:
      return {translated("{0} (see {1} --help)", outcome.reason, ownName("korvane-share"))};
    case ShareOutcome::Status::notOpened:
      return {translated("not handed over: {0}", outcome.reason)};
    case ShareOutcome::Status::opened:
      break;
  }
  if (outcome.empty) return {nothingLine(outcome.missing, maxLines)};
  std::vector<std::string> lines;
  std::size_t more = 0;
  for (const MissingThing& missing : outcome.missing) {
    if (missing.told) continue;
    if (lines.size() < maxLines) {
      lines.push_back(lineOf(missing));
    } else {
      ++more;
    }
  }
  if (more > 0) {
    lines.push_back(
        translatedCount("{0} more is not in the message", "{0} more are not in the message", more));
  }
  return lines;
}

std::string outcomeJSON(const ShareOutcome& outcome) {
  static constexpr const char* kStatus[] = {"opened", "notOpened", "refused"};
  return outputOf([&](Output& output) {
    JSONWriter json(output);
    json.beginObject().key("status").text(kStatus[static_cast<int>(outcome.status)]);
    json.key("application");
    if (outcome.application.empty()) {
      json.null();
    } else {
      json.text(outcome.application);
    }
    json.key("missing").beginList();
    for (const MissingThing& missing : outcome.missing) {
      json.beginObject().key("item").text(missing.item);
      json.key("reason").text(missing.reason).endObject();
    }
    json.endList().endObject();
    output << "\n";
  });
}

}  // namespace korvane
