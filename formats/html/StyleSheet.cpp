#include "formats/html/StyleSheet.h"

#include <algorithm>

#include "formats/html/CSSWords.h"
#include "formats/html/HTMLCharacters.h"
#include "text/ASCII.h"

namespace korvane {
namespace {

constexpr std::size_t kMaxSelectors = 2000;
constexpr std::size_t kMaxForOne = 16;
constexpr std::size_t kMaxClasses = 8;
constexpr std::size_t kMaxName = 100;

bool isNameCharacter(char c) { return isAlphanumeric(c) || c == '-' || c == '_' || !isASCII(c); }

// Sheets were once hidden in comments of the document.
std::string withoutMarks(std::string text) {
  for (const std::string_view mark : {std::string_view("<!--"), std::string_view("-->")}) {
    for (std::size_t at = text.find(mark); at != text.npos; at = text.find(mark, at)) {
      text.replace(at, mark.size(), mark.size(), ' ');
    }
  }
  return text;
}

}  // namespace

bool StyleSheet::read(std::string_view sheet) {
  const std::size_t before = selectors_.size();
  const std::string text = withoutComments(withoutMarks(std::string(sheet)));
  std::string_view rest = text;
  while (!rest.empty() && selectors_.size() < kMaxSelectors) {
    const std::size_t begin = findOutside(rest, "{;");
    const std::string_view head = withoutOuterSpace(rest.substr(0, begin));
    if (begin == rest.size()) break;
    const bool isBlock = rest[begin] == '{';
    rest.remove_prefix(begin + 1);
    if (!isBlock) continue;
    const std::size_t end = findOutside(rest, "}", CSSBrackets::curly);
    if (!head.starts_with('@')) readRule(head, rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return selectors_.size() > before;
}

void StyleSheet::readRule(std::string_view selectors, std::string_view declarations) {
  const std::size_t rule = rules_.size();
  const std::vector<std::string_view> all = cssList(selectors);
  // A list that misses one is none, as in browsers.
  if (std::any_of(all.begin(), all.end(), [](std::string_view one) { return one.empty(); })) return;
  for (const std::string_view text : all) {
    Selector selector;
    selector.rule = rule;
    if (!readSelector(text, selector) || selectors_.size() == kMaxSelectors) continue;
    const std::string key = !selector.id.empty()        ? '#' + selector.id
                            : !selector.classes.empty() ? '.' + selector.classes.front()
                            : !selector.element.empty() ? selector.element
                                                        : "*";
    auto& same = index_[key];
    if (same.size() == kMaxForOne) continue;
    same.push_back(selectors_.size());
    selectors_.push_back(std::move(selector));
  }
  if (!selectors_.empty() && selectors_.back().rule == rule) {
    rules_.push_back(readDeclarations(declarations));
  }
}

bool StyleSheet::readSelector(std::string_view text, Selector& selector) {
  std::uint32_t weight = 0;
  std::size_t at = 0;
  if (text.empty()) return false;
  if (text.front() == '*') ++at;  // any element
  while (at < text.size()) {
    const char mark = text[at] == '.' || text[at] == '#' ? text[at] : '\0';
    if (mark != '\0') ++at;
    const std::size_t begin = at;
    while (at < text.size() && isNameCharacter(text[at])) ++at;
    const std::string_view name = text.substr(begin, at - begin);
    if (name.empty() || name.size() > kMaxName || isDigit(name.front())) return false;
    if (mark == '.') {
      if (selector.classes.size() == kMaxClasses) return false;
      selector.classes.emplace_back(name);
      weight += 100;
    } else if (mark == '#') {
      if (!selector.id.empty()) return false;
      selector.id = name;
      weight += 10'000;
    } else {
      if (begin != 0) return false;
      selector.element = lowercase(name);
      weight += 1;
    }
  }
  selector.weight = weight;
  return true;
}

void StyleSheet::apply(std::string_view element, std::string_view classes, std::string_view id,
                       std::size_t& budget, CSSStyle& style) const {
  if (selectors_.empty()) return;
  std::vector<std::string> own;
  for (std::size_t at = 0; at < classes.size() && own.size() < kMaxClasses;) {
    const std::size_t begin = at;
    while (at < classes.size() && !isHTMLSpace(classes[at])) ++at;
    std::string one(classes.substr(begin, at - begin));
    if (!one.empty() && std::find(own.begin(), own.end(), one) == own.end()) {
      own.push_back(std::move(one));
    }
    while (at < classes.size() && isHTMLSpace(classes[at])) ++at;
  }

  std::vector<std::size_t> found;
  const auto look = [&](const std::string& key) {
    const auto candidates = index_.find(key);
    if (candidates == index_.end()) return;
    for (const std::size_t index : candidates->second) {
      const Selector& selector = selectors_[index];
      const bool fits = (selector.element.empty() || selector.element == element) &&
                        (selector.id.empty() || selector.id == id) &&
                        std::all_of(selector.classes.begin(), selector.classes.end(),
                                    [&](const std::string& name) {
                                      return std::find(own.begin(), own.end(), name) != own.end();
                                    });
      if (fits) found.push_back(index);
    }
  };
  look("*");
  look(std::string(element));
  for (const std::string& one : own) look('.' + one);
  if (!id.empty()) look('#' + std::string(id));
  std::sort(found.begin(), found.end(), [&](std::size_t a, std::size_t b) {
    if (selectors_[a].weight != selectors_[b].weight) {
      return selectors_[a].weight < selectors_[b].weight;
    }
    return a < b;
  });
  for (const std::size_t index : found) {
    const auto& declarations = rules_[selectors_[index].rule];
    if (declarations.size() > budget) return;
    budget -= declarations.size();
    for (const CSSDeclaration& one : declarations) style.add(one);
  }
}

}  // namespace korvane
