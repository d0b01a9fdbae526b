#include "linux/detail/SystemLog.h"

#include <syslog.h>
#include <unistd.h>

#include <cerrno>

#include "text/UTF8.h"

namespace korvane {
namespace {

constexpr std::size_t kMaximumEntry = 8000;

/// Controls, line breaks of Unicode, and marks and overrides of direction.
bool isHarmful(std::string_view character) {
  if (character.size() == 1) return character[0] < 0x20 || character[0] == 0x7F;
  if (character.size() == 2) {
    return (character >= "\xC2\x80" && character <= "\xC2\x9F") || character == "\xD8\x9C";
  }
  if (character.size() != 3) return false;
  return character == "\xE2\x80\x8E" || character == "\xE2\x80\x8F" ||
         (character >= "\xE2\x80\xA8" && character <= "\xE2\x80\xAE") ||
         (character >= "\xE2\x81\xA6" && character <= "\xE2\x81\xA9");
}

void appendEscaped(std::string& line, char byte) {
  static constexpr char kDigits[] = "0123456789abcdef";
  if (byte == '\n') {
    line += "\\n";
  } else if (byte == '\t') {
    line += "\\t";
  } else {
    const auto value = static_cast<unsigned char>(byte);
    line += "\\x";
    line += kDigits[value >> 4];
    line += kDigits[value & 15];
  }
}

std::string_view shortened(std::string_view line) {
  if (line.size() <= kMaximumEntry) return line;
  std::size_t size = kMaximumEntry;
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

std::string harmlessLine(std::string_view text) {
  std::string line;
  line.reserve(text.size());
  while (!text.empty()) {
    const UTF8Character first = firstUTF8Character(text);
    const std::string_view character = text.substr(0, first.size);
    if (!first.isValid || isHarmful(character)) {
      for (const char byte : character) appendEscaped(line, byte);
    } else {
      line += character;
    }
    text.remove_prefix(character.size());
  }
  return line;
}

SystemLog::SystemLog(SystemLogOptions options)
    : toStandardError_(options.standardError || ::isatty(STDERR_FILENO) == 1) {}

void SystemLog::write(std::string_view line) noexcept {
  try {
    std::string text = harmlessLine(line);
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
