#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvane {

/// One "property: value" of a style, both as written, the property in lower case.
struct CSSDeclaration {
  std::string property;
  std::string value;
  bool important = false;
};

/// The declarations of a style attribute or of a rule's braces, the first 32. Any thread may call.
std::vector<CSSDeclaration> readDeclarations(std::string_view text);

/// What stands behind an element's text, for the colour of that text.
enum class CSSBackground {
  outer,  // that of what holds it
  kept,
  lost,  // a picture or a colour that could not stay
};

/// Collects the declarations of an element, from the weakest to the strongest, and keeps those that
/// change how text looks, none that places it elsewhere or loads anything. One thread at a time.
class CSSStyle {
 public:
  /// `isBody`: of the body, whose white space is the document's own.
  explicit CSSStyle(bool isBody = false) : isBody_(isBody) {}

  void add(const CSSDeclaration& declaration);
  void add(std::string_view property, std::string_view value);
  void addAll(std::string_view declarations);

  /// As it is written; without the colour of the text where `outerLost` or the element's own
  /// background went, since white text would stand on white. On a background of its own the text
  /// has `lostColor`, which would have come to it from outside, where it has no other.
  std::string text(bool outerLost, std::string_view lostColor = {}) const;
  /// The text's colour that text(outerLost) leaves out, if any.
  std::optional<std::string_view> lostColor(bool outerLost) const;
  bool hidden() const { return displayNone_.on || clipped_.on; }
  /// Where it says so itself.
  std::optional<bool> visible() const { return visible_; }
  std::optional<bool> preservesSpace() const { return preservesSpace_; }
  CSSBackground background() const;
  /// Whether its text is at a side as an old attribute says it ("left", "center", "right"), which
  /// tables in it follow. Empty where it says something else, absent where it says nothing.
  std::optional<std::string_view> tableSide() const;

 private:
  // A property that is not written; an important declaration of it is not overruled.
  struct Switch {
    bool on = false;
    bool important = false;
    void set(bool to, bool isImportant) {
      if (important && !isImportant) return;
      on = to;
      important = isImportant;
    }
  };
  void keep(std::string_view property, std::string value, bool important);
  bool losesColor(bool outerLost) const;
  void addBackground(std::string_view value, bool important);
  const CSSDeclaration* find(std::string_view property) const;

  bool isBody_;
  std::vector<CSSDeclaration> kept_;
  Switch displayNone_, clipped_, pictureLost_, colorLost_;
  std::optional<bool> visible_, preservesSpace_;
};

}  // namespace korvane
