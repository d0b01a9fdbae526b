#include "compose/Telling.h"

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <vector>

#include "host/Program.h"
#include "platform/NSUserNotificationCenter.h"
#include "platform/detail/Translation.h"
#include "text/PrintableText.h"

namespace korvane {
namespace {

constexpr std::size_t kMaxNoticeLines = 6;

void tell(const std::string& line) { fail("korvane-compose", kFailed, line); }

/// In a notification of its own, however many messages one process composes.
void notify(const std::string& title, const std::vector<std::string>& lines) {
  static std::atomic<unsigned> count = 0;
  if (lines.empty() || ::isatty(STDERR_FILENO) != 0) return;
  std::string text;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i > 0) text += '\n';
    if (i + 1 == kMaxNoticeLines && lines.size() > kMaxNoticeLines) {
      const std::size_t more = lines.size() - i;
      text += translatedCount("There is {0} more remark.", "There are {0} more remarks.", more);
      break;
    }
    text += printableText(lines[i], LineBreaks::show);
  }
  NSUserNotificationCenter::defaultUserNotificationCenter()->deliverNotification(
      {.identifier = "compose-" + std::to_string(++count),
       .title = title,
       .informativeText = text});
}

}  // namespace

std::string sentenceOf(const LeftOut& leftOut) { return leftOut.item + " " + leftOut.reason + "."; }

void writeAbout(const Composition& composition) {
  for (const LeftOut& leftOut : composition.leftOut()) tell(sentenceOf(leftOut));
  for (const std::string& remark : composition.remarks()) tell(remark);
}

void tellAbout(const Composition& composition) {
  writeAbout(composition);
  std::vector<std::string> lines;
  for (LeftOut leftOut : composition.leftOut()) {
    // Files are known by their names.
    const std::string name = std::filesystem::path(leftOut.item).filename();
    if (leftOut.item.starts_with('/') && !name.empty()) leftOut.item = name;
    lines.push_back(sentenceOf(leftOut));
  }
  const std::string title =
      translated(lines.empty() ? translatable("Send by Mail")
                               : translatable("Not everything is in the message"));
  lines.insert(lines.end(), composition.remarks().begin(), composition.remarks().end());
  notify(title, lines);
}

void tellFailure(const ComposeError& error) {
  tell(error.what());
  notify(translated("The message was not opened"), {error.what()});
}

}  // namespace korvane
