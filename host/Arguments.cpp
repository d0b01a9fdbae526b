#include "host/Arguments.h"

#include <algorithm>
#include <utility>

#include "host/InputError.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

using Kind = Arguments::Thing::Kind;

void check(const Arguments& given) {
  if (!given.request.empty() && (!given.things.empty() || given.title)) {
    throw InputError(
        translated("--request cannot be combined with items, --title, --text, --html or --image"));
  }
  const bool hasOthers = !given.things.empty() || given.title || !given.request.empty();
  if (given.clipboard && (hasOthers || given.screenshot)) {
    throw InputError(translated("--clipboard cannot be combined with anything else to share"));
  }
  if (given.screenshot && hasOthers) {
    throw InputError(translated("--screenshot cannot be combined with anything else to share"));
  }
  if (given.doctor && (hasOthers || given.clipboard || given.screenshot || given.dryRun)) {
    throw InputError(
        translated("--doctor cannot be combined with anything to share or {0}", "--dry-run"));
  }
  if (given.json && given.dryRun)
    throw InputError(translated("{0} cannot be combined with {1}", "--json", "--dry-run"));
  if (std::ranges::count_if(given.things, [](const Arguments::Thing& thing) {
        return thing.kind != Kind::text && thing.value == "-";
      }) > 1) {
    throw InputError(translated("standard input (\"-\") can be read only once"));
  }
}

// What programs read and write is the same in every language.
constexpr const char* kRequest = R"(
  {"items": [{"title": "…", "text": "…", "html": "…", "baseUrl": "…", "attachments": [
    {"url": "https://…"}, {"file": "/path"}, {"image": "/path"},
    {"imageData": "base64"}, {"type": "public.plain-text", "text": "…"}]}]}
)";
constexpr const char* kOutcome = R"(
  {"status": "opened", "application": "…", "missing": [
    {"item": "…", "reason": "…"}]}
)";

std::string helpAfterOptions() {
  const std::string before = translated(
      "\"--\" ends the options: what follows is an item, also when it begins with a dash.\n"
      "A file that exists is shared as a file, whatever its name looks like.");
  const std::string request = translated("A request:");
  const std::string outcome =
      translated("What --json prints (\"opened\", \"notOpened\" or \"refused\"):");
  const std::string status = translated(
      "Exit status: 0 handed over; 1 not handed over; 2 wrong usage or an unreadable\n"
      "request. Standard error tells why.");
  const std::string examples = translated(
      "Examples:\n"
      "  korvane-share report.pdf \"holiday photo.jpg\"\n"
      "  korvane-share --title \"A good read\" https://www.example.org/article\n"
      "  import png:- | korvane-share -");
  return "\n" + before + "\n\n" + request + kRequest + "\n" + outcome + kOutcome + "\n" + status +
         "\n\n" + examples + "\n";
}

}  // namespace

CommandLine shareCommandLine(Arguments& arguments) {
  const auto thing = [&arguments](Kind kind, const char* emptyIs) {
    return [&arguments, kind, emptyIs](std::string value) {
      if (value.empty() && emptyIs) throw InputError(translated(emptyIs));
      arguments.things.push_back({kind, std::move(value)});
    };
  };
  const auto title = [&arguments](std::string value) {
    if (arguments.title) throw InputError(translated("{0} may be given only once", "--title"));
    arguments.title = std::move(value);
  };
  const auto notify = [&arguments](bool isWanted) {
    return [&arguments, isWanted](const std::string&) {
      if (arguments.notify && *arguments.notify != isWanted) {
        throw InputError(translated("{0} and {1} exclude each other", "--notify", "--no-notify"));
      }
      arguments.notify = isWanted;
    };
  };
  return {
      .program = "korvane-share",
      .usage = {translatable("[OPTION]... [ITEM]...")},
      .before = translatable(
          "Share items by mail: a compose window of the mail client opens with them.\n\n"
          "  ITEM             a path, a file: URL or any other URL; \"-\" is data on standard\n"
          "                   input (image, HTML or text, told apart by content)\n"),
      .options =
          {
              {"--title", translatable("TEXT"),
               translatable("the item's title: the subject, where a link is shared"), title},
              {"--text", translatable("TEXT"), translatable("accompanying text"),
               thing(Kind::text, nullptr)},
              {"--html", translatable("FILE"),
               translatable("accompanying styled text, an HTML file (\"-\": standard input)"),
               thing(Kind::html, translatable("--html needs an argument that is not empty"))},
              {"--image", translatable("FILE"),
               translatable(
                   "an image handed over as image data, not as a file (\"-\":\nstandard input)"),
               thing(Kind::image, translatable("--image needs an argument that is not empty"))},
              {"--request", translatable("FILE"),
               translatable(
                   "a share request in JSON (\"-\": standard input), for several\ninput items"),
               once("--request", arguments.request)},
              {"--clipboard", "",
               translatable("what the clipboard holds: files, styled text with the page it\n"
                            "comes from, a picture or a text"),
               flag(arguments.clipboard)},
              {"--screenshot", "",
               translatable("a picture of the screen, chosen in the desktop's own dialogue"),
               flag(arguments.screenshot)},
              {"--identifier", translatable("ID"),
               translatable("run as the extension with this bundle identifier (default:\n"
                            "that of the installed info dictionary)"),
               once("--identifier", arguments.identifier)},
              {"--dry-run", "",
               translatable("everything but the opening: print one line of JSON with the\n"
                            "application, the options and the URLs"),
               flag(arguments.dryRun)},
              {"--json", "",
               translatable("print one line of JSON with what came of it, on failure too"),
               flag(arguments.json)},
              {"--doctor", "",
               translatable("tell what is installed and what a share would do, for a bug\n"
                            "report; share nothing (with --json: as JSON)"),
               flag(arguments.doctor)},
              {"--notify", "",
               translatable("tell in a notification what takes long and what is missing (default:\n"
                            "where standard error is not a terminal, without --json and\n"
                            "--dry-run)"),
               notify(true)},
              {"--no-notify", "", translatable("show no notification: for scripts"), notify(false)},
              {"-v, --verbose", "", translatable("write log lines to standard error, too"),
               flag(arguments.verbose)},
          },
      .after = helpAfterOptions,
      .takeOther = thing(Kind::item, translatable("an item is empty")),
      .check = [&arguments] { check(arguments); },
  };
}

}  // namespace korvane
