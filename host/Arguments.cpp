#include "host/Arguments.h"

#include <array>
#include <string_view>
#include <utility>

#include "host/InputError.h"

#ifndef KORVANE_VERSION
#define KORVANE_VERSION "unknown"
#endif

namespace korvane {
namespace {

using Kind = Arguments::Thing::Kind;

enum class Option { title, text, html, image, request, identifier, dryRun, verbose, help, version };

struct Spelling {
  std::string_view name;
  Option option;
  bool takesArgument;
};

constexpr std::array kSpellings{
    Spelling{"--title", Option::title, true},
    Spelling{"--text", Option::text, true},
    Spelling{"--html", Option::html, true},
    Spelling{"--image", Option::image, true},
    Spelling{"--request", Option::request, true},
    Spelling{"--identifier", Option::identifier, true},
    Spelling{"--dry-run", Option::dryRun, false},
    Spelling{"-v", Option::verbose, false},
    Spelling{"--verbose", Option::verbose, false},
    Spelling{"-h", Option::help, false},
    Spelling{"--help", Option::help, false},
    Spelling{"--version", Option::version, false},
};

const Spelling& spelling(std::string_view name) {
  for (const Spelling& known : kSpellings) {
    if (known.name == name) return known;
  }
  throw InputError("unknown option \"" + std::string(name) + '"');
}

std::string notEmpty(std::string value, std::string_view option) {
  if (value.empty()) throw InputError(std::string(option) + " needs an argument that is not empty");
  return value;
}

template <class T>
void setOnce(T& slot, const std::string& value, std::string_view option) {
  if (slot != T()) throw InputError(std::string(option) + " may be given only once");
  slot = value;
}

void addItem(Arguments& result, const std::string& value) {
  if (value.empty()) throw InputError("an item is empty");
  result.things.push_back({Kind::item, value});
}

void apply(Arguments& result, const Spelling& known, std::string value) {
  switch (known.option) {
    case Option::title:
      setOnce(result.title, value, known.name);
      break;
    case Option::text:
      result.things.push_back({Kind::text, std::move(value)});
      break;
    case Option::html:
      result.things.push_back({Kind::html, notEmpty(std::move(value), known.name)});
      break;
    case Option::image:
      result.things.push_back({Kind::image, notEmpty(std::move(value), known.name)});
      break;
    case Option::request:
      setOnce(result.request, notEmpty(std::move(value), known.name), known.name);
      break;
    case Option::identifier:
      setOnce(result.identifier, notEmpty(std::move(value), known.name), known.name);
      break;
    case Option::dryRun:
      result.dryRun = true;
      break;
    case Option::verbose:
      result.verbose = true;
      break;
    case Option::help:
      result.action = Arguments::Action::help;
      break;
    case Option::version:
      result.action = Arguments::Action::version;
      break;
  }
}

void check(const Arguments& result) {
  if (result.request && (!result.things.empty() || result.title)) {
    throw InputError("--request cannot be combined with items, --title, --text, --html or --image");
  }
  std::size_t readers = 0;
  for (const Arguments::Thing& thing : result.things) {
    if (thing.kind != Kind::text && thing.value == "-") ++readers;
  }
  if (readers > 1) throw InputError("standard input (\"-\") can be read only once");
}

}  // namespace

Arguments parseArguments(const std::vector<std::string>& arguments) {
  Arguments result;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "--") {
      while (++i < arguments.size()) addItem(result, arguments[i]);
      break;
    }
    if (argument.size() < 2 || argument[0] != '-') {
      addItem(result, argument);
      continue;
    }
    const std::size_t equals = argument.starts_with("--") ? argument.find('=') : std::string::npos;
    const Spelling& known = spelling(std::string_view(argument).substr(0, equals));
    std::string value;
    if (known.takesArgument) {
      if (equals != std::string::npos) {
        value = argument.substr(equals + 1);
      } else if (++i < arguments.size()) {
        value = arguments[i];
      } else {
        throw InputError(std::string(known.name) + " needs an argument");
      }
    } else if (equals != std::string::npos) {
      throw InputError(std::string(known.name) + " takes no argument");
    }
    apply(result, known, std::move(value));
    if (result.action != Arguments::Action::share) return result;
  }
  check(result);
  return result;
}

std::string helpText() {
  return R"(Usage: korvane-share [OPTION]... [ITEM]...
Share items by mail: a compose window of the mail client opens with them.

  ITEM             a path, a file: URL or any other URL; "-" is data on standard
                   input (image, HTML or text, told apart by content)
  --title TEXT     the item's title: the subject, where a link is shared
  --text TEXT      accompanying text
  --html FILE      accompanying styled text, an HTML file ("-": standard input)
  --image FILE     an image handed over as image data, not as a file ("-":
                   standard input)
  --request FILE   a share request in JSON ("-": standard input), for several
                   input items
  --identifier ID  run as the extension with this bundle identifier (default:
                   that of the installed info dictionary)
  --dry-run        everything but the opening: print one line of JSON with the
                   application, the options and the URLs
  -v, --verbose    write log lines to standard error, too
  --help           print this text
  --version        print the version

"--" ends the options: what follows is an item, also when it begins with a dash.
A file that exists is shared as a file, whatever its name looks like.

A request:
  {"items": [{"title": "…", "text": "…", "html": "…", "attachments": [
    {"url": "https://…"}, {"file": "/path"}, {"image": "/path"},
    {"imageData": "base64"}, {"type": "public.plain-text", "text": "…"}]}]}

Exit status: 0 handed over; 1 not handed over; 2 wrong usage or an unreadable
request. Standard error tells why.

Examples:
  korvane-share report.pdf "holiday photo.jpg"
  korvane-share --title "A good read" https://www.example.org/article
  import png:- | korvane-share -
)";
}

std::string versionText() { return "korvane-share " KORVANE_VERSION "\n"; }

}  // namespace korvane
