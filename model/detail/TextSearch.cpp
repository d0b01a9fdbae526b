#include "model/detail/TextSearch.h"

#include <limits>

namespace korvane {
namespace {

/// Aho and Corasick's automaton: a trie of the searched texts, in which every node also knows the
/// longest other beginning that it ends with.
class Automaton {
 public:
  explicit Automaton(const std::vector<std::string_view>& searched) {
    for (std::uint32_t number = 0; number < searched.size(); ++number) {
      std::uint32_t node = kRoot;
      for (const char letter : searched[number]) node = childOrNew(node, letter);
      nodes_[node].searched = number;
    }
    connect();
  }

  std::uint32_t next(std::uint32_t node, char letter) const {
    for (;; node = nodes_[node].fallback) {
      const std::uint32_t below = child(node, letter);
      if (below != kRoot || node == kRoot) return below;
    }
  }

  /// Calls `found` with the number of every searched text that ends with the letter that led here.
  template <class Found>
  void forEachEnding(std::uint32_t node, const Found& found) const {
    if (nodes_[node].searched == kNone) node = nodes_[node].shorter;
    for (; node != kRoot; node = nodes_[node].shorter) found(nodes_[node].searched);
  }

  static constexpr std::uint32_t kRoot = 0;

 private:
  static constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();
  struct Node {
    char letter = 0;
    std::uint32_t firstChild = kRoot;
    std::uint32_t sibling = kRoot;
    std::uint32_t fallback = kRoot;
    std::uint32_t shorter = kRoot;  // the longest searched text that this one's beginning ends with
    std::uint32_t searched = kNone;
  };

  std::uint32_t child(std::uint32_t node, char letter) const {
    std::uint32_t below = nodes_[node].firstChild;
    while (below != kRoot && nodes_[below].letter != letter) below = nodes_[below].sibling;
    return below;
  }

  std::uint32_t childOrNew(std::uint32_t node, char letter) {
    if (const std::uint32_t below = child(node, letter); below != kRoot) return below;
    Node made;
    made.letter = letter;
    made.sibling = nodes_[node].firstChild;
    nodes_.push_back(made);
    return nodes_[node].firstChild = static_cast<std::uint32_t>(nodes_.size() - 1);
  }

  /// Sets what a node falls back to, shorter beginnings first.
  void connect() {
    std::vector<std::uint32_t> reached = {kRoot};
    for (std::size_t i = 0; i < reached.size(); ++i) {
      const std::uint32_t node = reached[i];
      for (std::uint32_t below = nodes_[node].firstChild; below != kRoot;
           below = nodes_[below].sibling) {
        const std::uint32_t fallback =
            node == kRoot ? kRoot : next(nodes_[node].fallback, nodes_[below].letter);
        nodes_[below].fallback = fallback;
        nodes_[below].shorter =
            nodes_[fallback].searched != kNone ? fallback : nodes_[fallback].shorter;
        reached.push_back(below);
      }
    }
  }

  std::vector<Node> nodes_ = {Node()};
};

}  // namespace

std::vector<std::size_t> occurrences(std::string_view text, std::string_view searched) {
  // Knuth, Morris and Pratt's search. borders[n]: length of the longest true prefix of the first n
  // characters that also ends them.
  std::vector<std::size_t> borders(searched.size() + 1, 0);
  for (std::size_t n = 1, border = 0; n < searched.size(); ++n) {
    while (border > 0 && searched[n] != searched[border]) border = borders[border];
    if (searched[n] == searched[border]) ++border;
    borders[n + 1] = border;
  }

  std::vector<std::size_t> positions;
  std::size_t matched = 0;
  std::size_t at = 0;
  while (at < text.size()) {
    if (matched == 0) {
      at = text.find(searched.front(), at);
      if (at == std::string_view::npos) break;
    } else if (text[at] != searched[matched]) {
      matched = borders[matched];
      continue;
    }
    ++at;
    if (++matched < searched.size()) continue;
    positions.push_back(at - searched.size());
    matched = 0;
  }
  return positions;
}

std::optional<std::vector<std::vector<std::uint32_t>>> occurrencesOfEach(
    std::string_view text, const std::vector<std::string_view>& searched) {
  constexpr std::size_t kMaxPositions = std::numeric_limits<std::uint32_t>::max();
  std::size_t letters = 0;
  for (const std::string_view one : searched) letters += one.size();
  if (text.size() >= kMaxPositions || letters >= kMaxPositions) return std::nullopt;

  const Automaton automaton(searched);
  std::vector<std::vector<std::uint32_t>> places(searched.size());
  std::size_t left = 16 * (text.size() + 1024);
  std::uint32_t node = Automaton::kRoot;
  for (std::size_t at = 0; at < text.size(); ++at) {
    node = automaton.next(node, text[at]);
    automaton.forEachEnding(node, [&](std::uint32_t number) {
      if (left == 0) return;
      --left;
      places[number].push_back(static_cast<std::uint32_t>(at + 1 - searched[number].size()));
    });
    if (left == 0) return std::nullopt;
  }
  return places;
}

}  // namespace korvane
