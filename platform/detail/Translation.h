#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/Export.h"

// Every text that a person may see goes through here, so that it is there in the person's language:
// xgettext finds the texts by the names of these functions and puts them into po/korvane.pot
// (./dev translations). They are whole sentences, or what stands for itself, and never glued
// together from pieces: what is filled in has a place in the text.
//
//     translated("{0} cannot be read: {1}", path, reason)
//     translatedCount("{0} file is missing", "{0} files are missing", count)
//
// Log lines are not translated. Any thread may call.
namespace korvane {

/// Gives the text as it is and has it translated: for constants, which are made before the language
/// is known. translated(constant) gives its translation later.
constexpr const char* translatable(const char* text) { return text; }

/// The text with its places "{0}", "{1}" to "{9}" filled with these values; a place without a value
/// stays as it is, and what a value holds is not looked at.
KORVANE_EXPORT std::string filled(std::string_view text,
                                  std::initializer_list<std::string_view> values);

/// The text in the person's language, or as it is where there is no translation. Its memory stays.
/// The empty text stays empty.
KORVANE_EXPORT const char* translationOf(const char* text) noexcept;
/// The same for a text about a number of things.
KORVANE_EXPORT const char* translationOf(const char* one, const char* many,
                                         unsigned long count) noexcept;

/// The text in the person's language. With values, its places are filled; without them, braces are
/// nothing special.
template <class... Values>
std::string translated(const char* text, const Values&... values) {
  if constexpr (sizeof...(values) == 0) return translationOf(text);
  return filled(translationOf(text), {std::string_view(values)...});
}

/// A text about a number of things in the person's language: "{0}" is the number, which both forms
/// must hold or neither, "{1}" the first of the values.
template <class... Values>
std::string translatedCount(const char* one, const char* many, unsigned long count,
                            const Values&... values) {
  return filled(translationOf(one, many, count),
                {std::to_string(count), std::string_view(values)...});
}

/// Gives the translation of `one`, or with `many` of the form for `count` things; `one` or `many`
/// itself where there is none. The memory of what it gives must stay. `many` may be null.
using Translator = const char* (*)(const char* one, const char* many, unsigned long count);
/// Has texts translated by this function from now on; null: by none, which is also the beginning.
KORVANE_EXPORT void setTranslator(Translator translator) noexcept;

}  // namespace korvane
