// korvane-message: shows the message that a command URL carries.

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/MessageReport.h"
#include "host/PrintableText.h"
#include "linux/LinuxPlatform.h"
#include "model/ExtensionMessage.h"
#include "platform/NSException.h"
#include "platform/NSURL.h"
#include "platform/Platform.h"
#include "urlutils/RequestUtils.h"

namespace {

using namespace korvane;

constexpr int exitFailure = 1;
constexpr int exitUsage = 2;
// More than any desktop hands over in one URL (a D-Bus message ends at 128 MiB).
constexpr std::size_t maximumInput = std::size_t{256} << 20;

constexpr const char* usage = "usage: korvane-message [--json | --html] [URL]";
constexpr const char* help =
    "\n"
    "Shows the message that a command URL (korvane://COMMAND?QUERY) carries. Without a URL, or\n"
    "with \"-\", the URL is read from standard input.\n"
    "\n"
    "  --json      as one JSON object, for programs\n"
    "  --html      its body as HTML, as a mail client would show it\n"
    "  -h, --help  this text\n"
    "  --version   the program's version\n"
    "\n"
    "Exit status: 0, 1 when the output cannot be written, 2 for wrong usage or a URL that is "
    "none.\n";

enum class Form { text, json, html };

int fail(int status, std::string_view reason) {
  std::fprintf(stderr, "korvane-message: %s\n", printableText(reason, LineBreaks::show).c_str());
  return status;
}

int failUsage(std::string_view reason) {
  return fail(exitUsage, std::string(reason) + " (" + usage + ")");
}

/// Writes the whole text to standard output; false when that fails.
bool writeOut(std::string_view text) {
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() &&
         std::fflush(stdout) == 0;
}

/// What standard input holds, without white space at its ends; absent when it is too long or
/// cannot be read, with the reason.
std::optional<std::string> readInput(std::string& reason) {
  std::string text;
  std::vector<char> buffer(std::size_t{1} << 16);
  while (true) {
    const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      reason = std::string("standard input cannot be read: ") + std::strerror(errno);
      return std::nullopt;
    }
    if (count == 0) break;
    text.append(buffer.data(), static_cast<std::size_t>(count));
    if (text.size() > maximumInput) {
      reason = "the URL on standard input is longer than 256 MiB";
      return std::nullopt;
    }
  }
  constexpr std::string_view space = " \t\r\n\f\v";
  const std::size_t first = text.find_first_not_of(space);
  if (first == std::string::npos) return std::string();
  text.erase(text.find_last_not_of(space) + 1);
  text.erase(0, first);
  return text;
}

bool isCommandURL(const NSURL& url) {
  std::string scheme = url.scheme().value_or(std::string());
  for (char& letter : scheme) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return scheme == "korvane";
}

/// Whether the URL's query can be read. The message of one that cannot would look empty.
bool isReadable(const NSURL& url) {
  try {
    RequestUtils::URLQueryParameters(url.absoluteString());
    return true;
  } catch (const NSException&) {
    return false;
  }
}

int show(std::string_view text, Form form) {
  const std::optional<NSURL> url = NSURL::URLWithString(text);
  if (text.empty() || !url) return fail(exitUsage, "this is not a URL");
  if (!isCommandURL(*url)) return fail(exitUsage, "this is not a korvane: URL");
  if (!isReadable(*url)) return fail(exitUsage, "the URL's query cannot be decoded");

  const std::shared_ptr<ExtensionMessage> message = ExtensionMessage::ExtensionMessageWithUrl(*url);
  std::string shown;
  switch (form) {
    case Form::text:
      shown = messageText(*message);
      break;
    case Form::json:
      shown = messageJSON(*message);
      break;
    case Form::html:
      shown = message->renderHtml() + "\n";
      // A file gets the HTML as it is; a terminal must not obey what it holds.
      if (::isatty(STDOUT_FILENO) != 0) shown = printableText(shown, LineBreaks::keep);
      break;
  }
  if (!writeOut(shown)) {
    return fail(exitFailure, std::string("cannot write: ") + std::strerror(errno));
  }
  return 0;
}

int run(const std::vector<std::string_view>& arguments) {
  std::optional<Form> form;
  std::optional<std::string_view> url;
  bool options = true;
  for (const std::string_view argument : arguments) {
    if (!options || argument == "-" || !argument.starts_with('-')) {
      if (url) return failUsage("more than one URL");
      url = argument;
    } else if (argument == "--") {
      options = false;
    } else if (argument == "--json" || argument == "--html") {
      const Form wanted = argument == "--json" ? Form::json : Form::html;
      if (form && *form != wanted) return failUsage("--json and --html exclude each other");
      form = wanted;
    } else if (argument == "-h" || argument == "--help") {
      return writeOut(std::string(usage) + "\n" + help) ? 0 : exitFailure;
    } else if (argument == "--version") {
      return writeOut("korvane-message " KORVANE_VERSION "\n") ? 0 : exitFailure;
    } else {
      return failUsage("unknown option " + std::string(argument));
    }
  }

  Platform::install(linuxPlatform());
  if (url && *url != "-") return show(*url, form.value_or(Form::text));
  if (!url && ::isatty(STDIN_FILENO) != 0) return failUsage("no URL");
  std::string reason;
  const std::optional<std::string> input = readInput(reason);
  if (!input) return fail(exitUsage, reason);
  return show(*input, form.value_or(Form::text));
}

}  // namespace

int main(int argc, char* argv[]) {
  // A message larger than the memory ends in a line, not in a crash.
  try {
    return run({argv + (argc > 0 ? 1 : 0), argv + argc});
  } catch (const std::exception& exception) {
    return fail(exitFailure, exception.what());
  }
}
