#include "host/MessageMain.h"

#include <unistd.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "host/Edition.h"
#include "host/InputData.h"
#include "host/InputError.h"
#include "host/MessageReport.h"
#include "host/Program.h"
#include "host/URLText.h"
#include "linux/LinuxPlatform.h"
#include "model/ExtensionMessage.h"
#include "platform/NSException.h"
#include "platform/NSString.h"
#include "platform/Platform.h"
#include "platform/detail/Translation.h"
#include "text/PrintableText.h"
#include "urlutils/RequestUtils.h"

namespace korvane {
namespace {

enum class Form { text, json, html };

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
  if (text.empty() || !url) throw InputError(translated("this is not a URL"));
  if (!schemeIs(url->absoluteString(), "korvane"))
    throw InputError(translated("this is not a korvane: URL"));
  if (!isReadable(*url)) throw InputError(translated("the URL's query cannot be decoded"));

  const auto message = ExtensionMessage::ExtensionMessageWithUrl(*url);
  switch (form) {
    case Form::text:
      writeOut(messageText(*message));
      break;
    case Form::json:
      writeOut(messageJSON(*message));
      break;
    case Form::html:
      // A file gets the HTML as it is; a terminal must not obey what it holds.
      if (::isatty(STDOUT_FILENO) != 0) {
        writeOut(printableText(message->renderHtml() + "\n", LineBreaks::keep));
      } else {
        writeOut(message->renderHtml());
        writeOut("\n");
      }
      break;
  }
  return kDone;
}

std::string readStandardInput() {
  try {
    const NSData input = readInput("-");
    return std::string(stringByTrimmingWhitespaceAndNewlines(
        {reinterpret_cast<const char*>(input.data()), input.size()}));
  } catch (const InputError& error) {
    throw InputError(translated("standard input cannot be read: {0}", error.what()));
  }
}

}  // namespace

int MessageMain(int argc, char* argv[]) {
  std::optional<Form> form;
  std::optional<std::string> url;
  const auto choose = [&](Form wanted) {
    return [&form, wanted](const std::string&) {
      if (form && *form != wanted)
        throw InputError(translated("{0} and {1} exclude each other", "--json", "--html"));
      form = wanted;
    };
  };
  const CommandLine line{
      .program = "korvane-message",
      .usage = {"[--json | --html] [URL]"},
      .before = translatable(
          "Shows the message that a command URL (korvane://COMMAND?QUERY) carries. Without\n"
          "a URL, or with \"-\", the URL is read from standard input.\n\n"),
      .options =
          {
              {"--json", "", translatable("as one JSON object, for programs"), choose(Form::json)},
              {"--html", "", translatable("its body as HTML, as a mail client would show it"),
               choose(Form::html)},
          },
      .after =
          [] {
            return translated(
                "\nExit status: 0; 1 when the output cannot be written; 2 for wrong usage or a "
                "text\n"
                "that is not a URL of this kind.\n");
          },
      .takeOther =
          [&](std::string given) {
            if (url) throw InputError(translated("more than one URL is given"));
            url = std::move(given);
          },
  };
  return runProgram(line, argc, argv, [&] {
    Platform::install(linuxPlatform(ownServices()));
    if (!url && ::isatty(STDIN_FILENO) != 0) throw InputError(translated("no URL is given"));
    const bool isInput = !url || *url == "-";
    return show(isInput ? readStandardInput() : *url, form.value_or(Form::text));
  });
}

}  // namespace korvane
