#include "host/CommandLine.h"

#include <algorithm>
#include <utility>

#include "host/Edition.h"
#include "host/InputError.h"
#include "platform/detail/Translation.h"
#include "text/UTF8.h"

#ifndef KORVANE_VERSION
#define KORVANE_VERSION "unknown"
#endif

namespace korvane {
namespace {

constexpr std::string_view kHelp = "-h, --help";
constexpr std::string_view kVersion = "--version";
constexpr std::size_t kMaxColumns = 80;

bool isNamed(std::string_view names, std::string_view name) {
  for (;;) {
    const std::size_t comma = names.find(", ");
    if (names.substr(0, comma) == name) return true;
    if (comma == std::string_view::npos) return false;
    names.remove_prefix(comma + 2);
  }
}

/// Adds a row of two columns, the second of which begins behind `width`. Its words are broken into
/// lines here: a translation is longer than what it translates.
void appendRow(std::string& text, std::string_view head, std::string_view help, std::size_t width) {
  text.append("  ").append(head);
  const std::size_t begin = width + 2;
  std::size_t column = columnsOf(head) + 2;
  while (!help.empty()) {
    const std::size_t end = std::min(help.find_first_of(" \n"), help.size());
    const std::string_view word = help.substr(0, end);
    help.remove_prefix(std::min(end + 1, help.size()));
    if (column > begin && column + 1 + columnsOf(word) > kMaxColumns) {
      text += '\n';
      column = 0;
    }
    const std::size_t gap = column < begin ? begin - column : 1;
    text.append(gap, ' ').append(word);
    column += gap + columnsOf(word);
  }
  text += '\n';
}

std::string headOf(const CommandLineOption& option) {
  std::string head(option.names);
  if (*option.argument != '\0') head.append(" ").append(translationOf(option.argument));
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
      if (!isHelp && !isNamed(kVersion, name))
        throw InputError(translated("unknown option \"{0}\"", name));
      if (hasArgument) throw InputError(translated("{0} takes no argument", name));
      return isHelp ? CommandLineWish::help : CommandLineWish::version;
    }
    if (*option->argument == '\0') {
      if (hasArgument) throw InputError(translated("{0} takes no argument", name));
      option->take({});
    } else if (hasArgument) {
      option->take(argument.substr(equals + 1));
    } else if (++i < arguments.size()) {
      option->take(arguments[i]);
    } else {
      throw InputError(translated("{0} needs an argument", name));
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
  const std::string usageWord = translated("Usage:");
  for (const char* const usage : line.usage) {
    text += text.empty() ? usageWord : std::string(columnsOf(usageWord), ' ');
    text.append(" ").append(line.program);
    if (*usage) text.append(" ").append(translationOf(usage));
    text += "\n";
  }
  text += translationOf(line.before);
  std::size_t width = kHelp.size();
  for (const CommandLineOption& option : line.options) {
    width = std::max(width, columnsOf(headOf(option)));
  }
  width += 2;
  for (const CommandLineOption& option : line.options) {
    appendRow(text, headOf(option), translationOf(option.help), width);
  }
  appendRow(text, kHelp, translationOf("print this text"), width);
  appendRow(text, kVersion, translationOf("print the version"), width);
  if (line.after) text += line.after();
  return withOwnName(text, line.program);
}

std::string versionText(const CommandLine& line) {
  return ownName(line.program).append(" " KORVANE_VERSION "\n");
}

std::string_view versionNumber() { return KORVANE_VERSION; }

std::function<void(std::string)> once(std::string_view option, std::string& text) {
  return [option, &text](std::string argument) {
    if (argument.empty()) {
      throw InputError(translated("{0} needs an argument that is not empty", option));
    }
    if (!text.empty()) throw InputError(translated("{0} may be given only once", option));
    text = std::move(argument);
  };
}

std::function<void(std::string)> flag(bool& value) {
  return [&value](const std::string&) { value = true; };
}

}  // namespace korvane
