#include "host/Arguments.h"

#include <algorithm>
#include <utility>

#include "host/InputError.h"

namespace korvane {
namespace {

using Kind = Arguments::Thing::Kind;

void check(const Arguments& given) {
  if (!given.request.empty() && (!given.things.empty() || given.title)) {
    throw InputError("--request cannot be combined with items, --title, --text, --html or --image");
  }
  const bool hasOthers = !given.things.empty() || given.title || !given.request.empty();
  if (given.clipboard && (hasOthers || given.screenshot)) {
    throw InputError("--clipboard cannot be combined with anything else to share");
  }
  if (given.screenshot && hasOthers) {
    throw InputError("--screenshot cannot be combined with anything else to share");
  }
  if (given.json && given.dryRun) throw InputError("--json cannot be combined with --dry-run");
  if (std::ranges::count_if(given.things, [](const Arguments::Thing& thing) {
        return thing.kind != Kind::text && thing.value == "-";
      }) > 1) {
    throw InputError("standard input (\"-\") can be read only once");
  }
}

}  // namespace

CommandLine shareCommandLine(Arguments& arguments) {
  const auto thing = [&arguments](Kind kind, std::string emptyIs) {
    return [&arguments, kind, emptyIs = std::move(emptyIs)](std::string value) {
      if (value.empty() && !emptyIs.empty()) throw InputError(emptyIs);
      arguments.things.push_back({kind, std::move(value)});
    };
  };
  const auto title = [&arguments](std::string value) {
    if (arguments.title) throw InputError("--title may be given only once");
    arguments.title = std::move(value);
  };
  return {
      .program = "korvane-share",
      .usage = {"[OPTION]... [ITEM]..."},
      .before = R"(Share items by mail: a compose window of the mail client opens with them.

  ITEM             a path, a file: URL or any other URL; "-" is data on standard
                   input (image, HTML or text, told apart by content)
)",
      .options =
          {
              {"--title", "TEXT", "the item's title: the subject, where a link is shared", title},
              {"--text", "TEXT", "accompanying text", thing(Kind::text, "")},
              {"--html", "FILE", "accompanying styled text, an HTML file (\"-\": standard input)",
               thing(Kind::html, "--html needs an argument that is not empty")},
              {"--image", "FILE",
               "an image handed over as image data, not as a file (\"-\":\nstandard input)",
               thing(Kind::image, "--image needs an argument that is not empty")},
              {"--request", "FILE",
               "a share request in JSON (\"-\": standard input), for several\ninput items",
               once("--request", arguments.request)},
              {"--clipboard", "",
               "what the clipboard holds: files, styled text with the page it\n"
               "comes from, a picture or a text",
               flag(arguments.clipboard)},
              {"--screenshot", "", "a picture of the screen, chosen in the desktop's own dialogue",
               flag(arguments.screenshot)},
              {"--identifier", "ID",
               "run as the extension with this bundle identifier (default:\n"
               "that of the installed info dictionary)",
               once("--identifier", arguments.identifier)},
              {"--dry-run", "",
               "everything but the opening: print one line of JSON with the\n"
               "application, the options and the URLs",
               flag(arguments.dryRun)},
              {"--json", "", "print one line of JSON with what came of it, on failure too",
               flag(arguments.json)},
              {"-v, --verbose", "", "write log lines to standard error, too",
               flag(arguments.verbose)},
          },
      .after = R"(
"--" ends the options: what follows is an item, also when it begins with a dash.
A file that exists is shared as a file, whatever its name looks like.

A request:
  {"items": [{"title": "…", "text": "…", "html": "…", "baseUrl": "…", "attachments": [
    {"url": "https://…"}, {"file": "/path"}, {"image": "/path"},
    {"imageData": "base64"}, {"type": "public.plain-text", "text": "…"}]}]}

What --json prints ("opened", "notOpened" or "refused"):
  {"status": "opened", "application": "…", "missing": [
    {"item": "…", "reason": "…"}]}

Exit status: 0 handed over; 1 not handed over; 2 wrong usage or an unreadable
request. Standard error tells why.

Examples:
  korvane-share report.pdf "holiday photo.jpg"
  korvane-share --title "A good read" https://www.example.org/article
  import png:- | korvane-share -
)",
      .takeOther = thing(Kind::item, "an item is empty"),
      .check = [&arguments] { check(arguments); },
  };
}

}  // namespace korvane
