#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/detail/Translation.h"

namespace korvane {

/// One option of a program.
struct CommandLineOption {
  /// Its spellings: "--title", or "-v, --verbose".
  std::string_view names;
  /// What --help calls its argument; empty where it takes none. Translated when it is shown, as all
  /// texts of --help are: translatable("FILE").
  const char* argument;
  /// What it does, for --help, where it is broken into lines.
  const char* help;
  /// Takes its argument, any bytes ("" where it takes none). May throw InputError.
  std::function<void(std::string argument)> take;
};

/// What a program is to whoever starts it. "--help", "-h" and "--version" are every program's.
struct CommandLine {
  /// "korvane-share".
  std::string_view program;
  /// The lines of "Usage:", without the program's name: "[OPTION]... [ITEM]...".
  std::vector<const char*> usage;
  /// What stands between usage and options in --help, and behind them; each ends in a line break.
  const char* before;
  std::vector<CommandLineOption> options;
  /// Gives it translated, since some of it is for machines; may be empty.
  std::function<std::string()> after{};
  /// Takes what is not an option, in its order; "-" is not an option. May throw InputError.
  std::function<void(std::string argument)> takeOther;
  /// Throws InputError where what was taken does not go together; may be empty.
  std::function<void()> check{};
  /// Hears why the command line is wrong usage; may be empty.
  std::function<void(const std::string& reason)> refused{};
};

/// What a command line asks for.
enum class CommandLineWish { work, help, version };

/// Takes the arguments (without the program's name) apart, in their order. Options may stand
/// anywhere before "--", which ends them; "--title=TEXT" and "--title TEXT" are the same, and an
/// option's argument may begin with a dash. The bytes stay as they are, whatever the locale. Throws
/// InputError for an unknown option and a missing or unwanted argument. "--help" and "--version"
/// win over everything that follows them.
CommandLineWish parse(const CommandLine& line, const std::vector<std::string>& arguments);

/// What --help prints.
std::string helpText(const CommandLine& line);
/// What --version prints.
std::string versionText(const CommandLine& line);

/// The version that --version prints, without the program's name: "1.0.0".
std::string_view versionNumber();

/// Puts an option's argument into the text. Throws InputError for an empty argument and where the
/// text is not empty.
std::function<void(std::string argument)> once(std::string_view option, std::string& text);
/// Sets the flag; any number of times.
std::function<void(std::string argument)> flag(bool& value);

}  // namespace korvane
