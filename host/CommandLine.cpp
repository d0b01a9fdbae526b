#include "host/CommandLine.h"

#include <algorithm>
#include <utility>

#include "host/Edition.h"
#include "host/InputError.h"

#ifndef KORVANE_VERSION
#define KORVANE_VERSION "unknown"
#endif

namespace korvane {
namespace {

constexpr std::string_view kHelp = "-h, --help";
constexpr std::string_view kVersion = "--version";

bool isNamed(std::string_view names, std::string_view name) {
  for (;;) {
    const std::size_t comma = names.find(", ");
    if (names.substr(0, comma) == name) return true;
    if (comma == std::string_view::npos) return false;
    names.remove_prefix(comma + 2);
  }
}

void appendRow(std::string& text, std::string_view head, std::string_view help, std::size_t width) {
  text.append("  ").append(head);
  std::size_t column = head.size();
  while (!help.empty()) {
    text.append(width - column, ' ');
    const std::size_t end = std::min(help.find('\n'), help.size());
    text.append(help.substr(0, end)).append("\n");
    help.remove_prefix(std::min(end + 1, help.size()));
    if (!help.empty()) text += "  ";
    column = 0;
  }
}

std::string headOf(const CommandLineOption& option) {
  std::string head(option.names);
  if (!option.argument.empty()) head.append(" ").append(option.argument);
  return head;
}

}  // namespace

static CommandLineWish takeApart(const CommandLine& line,
                                 const std::vector<std::string>& arguments) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "--") {
      while (++i < arguments.size()) line.takeOther(arguments[i]);
      break;
    }
    if (argument.size() < 2 || argument[0] != '-') {
      line.takeOther(argument);
      continue;
    }
    const std::size_t equals = argument.starts_with("--") ? argument.find('=') : std::string::npos;
    const std::string name = argument.substr(0, equals);
    const bool hasArgument = equals != std::string::npos;
    const auto option = std::ranges::find_if(
        line.options, [&](const CommandLineOption& known) { return isNamed(known.names, name); });
    if (option == line.options.end()) {
      const bool isHelp = isNamed(kHelp, name);
      if (!isHelp && !isNamed(kVersion, name)) throw InputError("unknown option \"" + name + '"');
      if (hasArgument) throw InputError(name + " takes no argument");
      return isHelp ? CommandLineWish::help : CommandLineWish::version;
    }
    if (option->argument.empty()) {
      if (hasArgument) throw InputError(name + " takes no argument");
      option->take({});
    } else if (hasArgument) {
      option->take(argument.substr(equals + 1));
    } else if (++i < arguments.size()) {
      option->take(arguments[i]);
    } else {
      throw InputError(name + " needs an argument");
    }
  }
  if (line.check) line.check();
  return CommandLineWish::work;
}

CommandLineWish parse(const CommandLine& line, const std::vector<std::string>& arguments) {
  try {
    return takeApart(line, arguments);
  } catch (const InputError& error) {
    if (line.refused) line.refused(error.what());
    throw;
  }
}

std::string helpText(const CommandLine& line) {
  std::string text;
  for (const std::string_view usage : line.usage) {
    text.append(text.empty() ? "Usage: " : "       ").append(line.program).append(" ");
    text.append(usage).append("\n");
  }
  text += line.before;
  std::size_t width = kHelp.size();
  for (const CommandLineOption& option : line.options) {
    width = std::max(width, headOf(option).size());
  }
  width += 2;
  for (const CommandLineOption& option : line.options) {
    appendRow(text, headOf(option), option.help, width);
  }
  appendRow(text, kHelp, "print this text", width);
  appendRow(text, kVersion, "print the version", width);
  text += line.after;
  return withOwnName(text, line.program);
}

std::string versionText(const CommandLine& line) {
  return ownName(line.program).append(" " KORVANE_VERSION "\n");
}

std::function<void(std::string)> once(std::string_view option, std::string& text) {
  return [option, &text](std::string argument) {
    if (argument.empty()) {
      throw InputError(std::string(option) + " needs an argument that is not empty");
    }
    if (!text.empty()) throw InputError(std::string(option) + " may be given only once");
    text = std::move(argument);
  };
}

std::function<void(std::string)> flag(bool& value) {
  return [&value](const std::string&) { value = true; };
}

}  // namespace korvane
