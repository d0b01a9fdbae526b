#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Colours of style sheets (CSS Color 4 and 5). Pure: any thread may call.
namespace korvane {

/// A colour of sRGB, each part from 0 to 1.
struct CSSColor {
  double red = 0, green = 0, blue = 0, alpha = 1;

  /// As every mail client reads it: "rgb(255, 0, 0)", "rgba(255, 0, 0, 0.5)".
  std::string text() const;
};

/// The colour of a name ("red", "transparent"), "#…" or function: rgb, hsl, hwb, lab, lch, oklab,
/// oklch, color, color-mix and light-dark (its first). What lies outside sRGB is the nearest value
/// of each part. Nothing for anything else, also for what depends on where it stands
/// (currentcolor) or on variables.
std::optional<CSSColor> readCSSColor(std::string_view text);

/// Whether a value is a colour: one of those above, or a word for one that depends on where it
/// stands or on who shows it ("inherit", "currentcolor", "windowtext").
bool isCSSColor(std::string_view text);

/// The colour that browsers take from an attribute of old HTML (color, bgcolor, text): nearly every
/// text is one there, "ff0000" without its "#" too. In a form that style sheets have; empty where
/// it is none.
std::string legacyColor(std::string_view text);

}  // namespace korvane
