#include "compose/ComposeMain.h"

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

#include "compose/ComposeService.h"
#include "compose/Composition.h"
#include "compose/InstalledClient.h"
#include "compose/Telling.h"
#include "host/Edition.h"
#include "host/InputData.h"
#include "host/InputError.h"
#include "host/JSONWriter.h"
#include "host/Program.h"
#include "linux/LinuxPlatform.h"
#include "platform/NSString.h"
#include "platform/Platform.h"
#include "platform/detail/Translation.h"
#include "text/PrintableText.h"

namespace korvane {
namespace {

struct Options {
  std::string client;
  std::optional<std::string> url;
  bool dryRun = false;
  bool service = false;
  bool which = false;
};

std::string readStandardInput() {
  const NSData input = readInput("-");
  return stringByTrimmingWhitespaceAndNewlines(
      {reinterpret_cast<const char*>(input.data()), input.size()});
}

/// Takes a variable of the launcher's, which is of use once.
std::optional<std::string> takeVariable(const char* name) {
  const char* value = std::getenv(name);
  if (!value || !*value) return std::nullopt;
  std::string text = value;
  ::unsetenv(name);
  return text;
}

std::string json(const Composition& composition, const ClientCommand& command) {
  return outputOf([&](Output& output) {
    JSONWriter line(output);
    line.beginObject().key("client").text(composition.client().id).key("command").beginList();
    for (const std::string& argument : command.arguments) line.text(argument);
    line.endList().key("message").textOrNull(command.message).key("leftOut").beginList();
    for (const LeftOut& leftOut : composition.leftOut()) {
      line.beginObject().key("item").text(leftOut.item).key("reason").text(leftOut.reason);
      line.endObject();
    }
    line.endList().endObject();
    output << "\n";
  });
}

int compose(const Options& options, const Activation& activation) try {
  const std::string text = *options.url == "-" ? readStandardInput() : *options.url;
  const auto url = NSURL::URLWithString(text);
  if (!url) throw InputError(translated("this is not a URL"));
  Composition composition(
      mailClientFor(options.client.empty() ? std::nullopt : std::optional(options.client)), url);
  const ClientCommand& command = composition.prepare();
  if (!options.dryRun) composition.open(activation);
  options.dryRun ? writeAbout(composition) : tellAbout(composition);
  if (options.dryRun) writeOut(json(composition, command));
  return kDone;
} catch (const ComposeError& error) {
  if (error.kind() == ComposeError::Kind::notCompose) throw InputError(error.what());
  tellFailure(error);
  return kFailed;
}

/// Prints the mail client that would open: its name for people and that of its desktop entry.
int which(const Options& options) try {
  const InstalledClient client =
      mailClientFor(options.client.empty() ? std::nullopt : std::optional(options.client));
  writeOut(printableText(client.name + " (" + client.id + ')', LineBreaks::show) + '\n');
  return kDone;
} catch (const ComposeError& error) {
  tellFailure(error);
  return kFailed;
}

}  // namespace

int ComposeMain(int argc, char* argv[]) {
  Options options;
  const CommandLine line{
      .program = "korvane-compose",
      .usage = {translatable("[--client ID] [--dry-run] URL"),
                translatable("[--client ID] --which"), translatable("[--client ID] --service")},
      .before = translatable(
          "Opens a compose window of the mail client that is installed, with the message of\n"
          "a command URL (korvane://compose?...). With \"-\", the URL is read from standard\n"
          "input.\n\n"),
      .options =
          {
              {"--client", translatable("ID"),
               translatable("the mail client with this desktop entry, not the default one"),
               once("--client", options.client)},
              {"--dry-run", "",
               translatable("do everything but the opening, and print one line of JSON"),
               flag(options.dryRun)},
              {"--which", "",
               translatable("print the name of the mail client that would open, and its entry's"),
               flag(options.which)},
              {"--service", "",
               translatable("answer on the session bus in the mail client's place"),
               flag(options.service)},
          },
      .after =
          [] {
            return translated(
                "\nExit status: 0; 1 when there is no compose window; 2 for wrong usage or a URL\n"
                "that is not a message.\n");
          },
      .takeOther =
          [&](std::string given) {
            if (options.url) throw InputError(translated("more than one URL is given"));
            options.url = std::move(given);
          },
      .check =
          [&] {
            if (options.service && options.url)
              throw InputError(translated("{0} takes no URL", "--service"));
            if (options.service && options.dryRun) {
              throw InputError(
                  translated("{0} and {1} exclude each other", "--service", "--dry-run"));
            }
            if (options.which && (options.url || options.service || options.dryRun)) {
              throw InputError(
                  translated("--which takes neither a URL nor other options but --client"));
            }
            if (!options.service && !options.which && !options.url)
              throw InputError(translated("no URL is given"));
          },
  };
  return runProgram(line, argc, argv, [&] {
    // Before the platform takes them for launches of its own.
    const Activation activation{takeVariable("XDG_ACTIVATION_TOKEN"),
                                takeVariable("DESKTOP_STARTUP_ID")};
    Platform::install(linuxPlatform(ownServices(KORVANE_COMPOSE_EDITION)));
    if (options.which) return which(options);
    if (!options.service) return compose(options, activation);
    return runComposeService(KORVANE_COMPOSE_EDITION,
                             options.client.empty() ? std::nullopt : std::optional(options.client));
  });
}

}  // namespace korvane
