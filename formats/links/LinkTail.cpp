#include "formats/links/LinkTail.h"

#include <algorithm>
#include <array>

#include "formats/links/LinkCharacters.h"
#include "formats/links/LinkNames.h"

namespace korvane::links {
namespace {

// Kinds of brackets.
constexpr std::size_t noBracket = 3;

constexpr std::size_t openingKind(char c) {
  return c == '(' ? 0 : c == '[' ? 1 : c == '{' ? 2 : noBracket;
}
constexpr std::size_t closingKind(char c) {
  return c == ')' ? 0 : c == ']' ? 1 : c == '}' ? 2 : noBracket;
}

// In the source of an HTML document "<", ">" and quotes end a link as they do elsewhere.
bool isReferenceToMark(std::string_view text) {
  return text.starts_with("&gt;") || text.starts_with("&lt;") || text.starts_with("&quot;");
}

bool isWordCharacter(char32_t scalar) { return isHostCharacter(scalar) || isHostSymbol(scalar); }

// Whether a character that no link holds joins the ones beside it to a word that a link may hold.
bool joinsWord(char32_t before, char32_t joiner, char32_t behind) {
  if (!isWordJoiner(joiner)) return false;
  if (joiner == 0xFE0E || joiner == 0xFE0F) return isHostSymbol(before);
  if (joiner == 0x200D) {
    return (isWordCharacter(before) || before == 0xFE0F) && isWordCharacter(behind);
  }
  return isHostCharacter(before) && isHostCharacter(behind);
}

}  // namespace

void LinkTail::readRun(std::size_t from) {
  runBegin_ = from;
  runEnd_ = from;
  brackets_.clear();
  // Indices into brackets_ of those still open. Each kind pairs for itself, so that the pairs
  // inside any later part of the run are the same as if that part were read alone.
  std::array<std::vector<std::size_t>, noBracket> open;
  char32_t before = ' ';
  while (runEnd_ < text_.size()) {
    const Character character = characterAt(text_, runEnd_);
    ++steps_;
    if (!isLinkCharacter(character.scalar)) {
      const std::size_t behind = runEnd_ + character.length;
      const char32_t next = behind < text_.size() ? characterAt(text_, behind).scalar : U' ';
      if (character.scalar < 0x80 || !joinsWord(before, character.scalar, next)) break;
    }
    before = character.scalar;
    const char c = text_[runEnd_];
    if (beginsAnotherLink(text_, runEnd_)) break;
    if (c == '&' && isReferenceToMark(text_.substr(runEnd_))) break;
    if (const std::size_t kind = openingKind(c); kind != noBracket) {
      // "[/" begins a closing tag of bulletin board markup.
      if (c == '[' && text_.substr(runEnd_ + 1).starts_with('/')) break;
      open[kind].push_back(brackets_.size());
      brackets_.push_back({runEnd_, Bracket::none});
    } else if (const std::size_t closed = closingKind(c); closed != noBracket) {
      Bracket bracket{runEnd_, Bracket::none};
      if (!open[closed].empty()) {
        Bracket& partner = brackets_[open[closed].back()];
        open[closed].pop_back();
        partner.partner = runEnd_;
        bracket.partner = partner.at;
      }
      brackets_.push_back(bracket);
    }
    runEnd_ += character.length;
  }
}

std::size_t LinkTail::firstLonelyBracket(std::size_t from, std::size_t limit) {
  auto bracket = std::lower_bound(brackets_.begin(), brackets_.end(), from,
                                  [](const Bracket& b, std::size_t at) { return b.at < at; });
  for (; bracket != brackets_.end() && bracket->at < limit; ++bracket) {
    ++steps_;
    const bool paired =
        bracket->partner != Bracket::none && bracket->partner >= from && bracket->partner < limit;
    if (!paired) return bracket->at;
  }
  return limit;
}

std::size_t LinkTail::end(std::size_t from, std::size_t linkBegin) {
  if (from < runBegin_ || from >= runEnd_) readRun(from);
  const char before = linkBegin > 0 ? text_[linkBegin - 1] : ' ';
  std::size_t end = runEnd_;
  if (before == '\'') end = std::min(text_.find('\'', from), end);
  end = firstLonelyBracket(from, end);

  const std::string_view whole = text_.substr(from, end - from);
  auto quotes = std::count(whole.begin(), whole.end(), '\'');
  steps_ += whole.size();
  while (end > from) {
    const Character last = characterBefore(text_, end);
    ++steps_;
    const bool lonelyQuote = last.scalar == '\'' && quotes % 2 != 0;
    // "*http://a.example/*": emphasis around the link.
    const bool emphasis = (last.scalar == '*' || last.scalar == '_' || last.scalar == '~') &&
                          last.scalar == static_cast<unsigned char>(before);
    if (!isTrailingMark(last.scalar) && !lonelyQuote && !emphasis) break;
    if (last.scalar == '\'') --quotes;
    end -= last.length;
  }
  return end;
}

}  // namespace korvane::links
