#include "linux/detail/SystemLog.h"

#include <syslog.h>
#include <unistd.h>

#include <cerrno>

#include "text/PrintableText.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

constexpr std::size_t kMaxEntry = 8000;

std::string_view shortened(std::string_view line) {
  if (line.size() <= kMaxEntry) return line;
  std::size_t size = kMaxEntry;
  while (isUTF8Continuation(line[size])) --size;
  return line.substr(0, size);
}

void writeToStandardError(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(STDERR_FILENO, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace

SystemLog::SystemLog(SystemLogOptions options)
    : toStandardError_(options.standardError || ::isatty(STDERR_FILENO) == 1) {}

void SystemLog::write(std::string_view line) noexcept {
  try {
    std::string text = printableText(line, LineBreaks::show);
    const std::string_view entry = shortened(text);
    ::syslog(LOG_USER | LOG_NOTICE, "%.*s", static_cast<int>(entry.size()), entry.data());
    if (!toStandardError_) return;
    text += '\n';
    std::lock_guard lock(mutex_);
    writeToStandardError(text);
  } catch (...) {  // NOLINT(bugprone-empty-catch): there is no place left to tell it
  }
}

}  // namespace korvane
