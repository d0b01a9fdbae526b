#include "linux/detail/RemoteNames.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/NSString.h"
#include "text/ASCII.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

/// The longest name that file systems take, in bytes.
constexpr std::size_t kMaxName = 255;
/// The longest that counts as an extension: ".numbers", not ". And then she said".
constexpr std::size_t kMaxExtension = 10;

bool isComponent(std::string_view name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

/// The extension with its ".", "" where there is none.
std::string_view extensionOf(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || name.size() - dot > kMaxExtension) return {};
  const std::string_view letters = name.substr(dot + 1);
  return std::ranges::all_of(letters, isAlphanumeric) && std::ranges::any_of(letters, isLetter)
             ? name.substr(dot)
             : std::string_view();
}

/// Whether the name tells the file's kind as `known` does.
bool keepsExtension(std::string_view name, std::string_view known) {
  return equalIgnoringCase(extensionOf(name), extensionOf(known)) || extensionOf(known).empty();
}

std::string_view shortened(std::string_view text, std::size_t size) {
  if (text.size() <= size) return text;
  while (size > 0 && isUTF8Continuation(text[size])) --size;
  return text.substr(0, size);
}

/// The name with something put before its extension, short enough.
std::string withSuffix(std::string_view name, std::string_view suffix) {
  const std::string_view extension = extensionOf(name);
  const std::string_view base = name.substr(0, name.size() - extension.size());
  std::string made(shortened(base, kMaxName - extension.size() - suffix.size()));
  return made.append(suffix).append(extension);
}

std::string madeComponent(std::string_view name) {
  std::string made(name);
  std::ranges::replace(made, '/', '_');
  std::ranges::replace(made, '\0', '_');
  return isComponent(made) ? made : "file";
}

}  // namespace

std::string remoteName(const RemoteNames& names) {
  if (isComponent(names.name) && !isValidUTF8(names.name)) return withSuffix(names.name, "");
  for (const std::string_view name : {names.display, names.edit, names.copy, names.name}) {
    if (isComponent(name) && keepsExtension(name, names.name)) return withSuffix(name, "");
  }
  const auto shown = names.display.empty() ? names.name : names.display;
  return withSuffix(madeComponent(shown), "");
}

std::string freeName(const std::string& name,
                     const std::function<bool(const std::string& name)>& isFree) {
  std::string candidate = name;
  for (std::uint64_t number = 1; !isFree(candidate); ++number) {
    candidate = withSuffix(name, "_" + std::to_string(number));
  }
  return candidate;
}

}  // namespace korvane
