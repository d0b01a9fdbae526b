#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace korvane::links {

/// Finds where the path, query and fragment of a link end. What it has read of a text it remembers,
/// so that many links in one long run of characters, each of which ends at a bracket without a
/// partner, are not each searched to the run's end.
class LinkTail {
 public:
  explicit LinkTail(std::string_view text) : text_(text) {}

  /// The end of the tail that begins at `from`, of a link that begins at `linkBegin`: before the
  /// first character that no link holds and the first bracket that has no partner in the tail, and
  /// without punctuation and quotes at its end. Positions given in one text only grow.
  std::size_t end(std::size_t from, std::size_t linkBegin);

  /// How many characters were looked at.
  std::uint64_t steps() const { return steps_; }

 private:
  struct Bracket {
    static constexpr std::size_t none = static_cast<std::size_t>(-1);
    std::size_t at;
    std::size_t partner;
  };

  void readRun(std::size_t from);
  std::size_t firstLonelyBracket(std::size_t from, std::size_t limit);

  std::string_view text_;
  // The run of link characters read last, and its brackets in order.
  std::size_t runBegin_ = 0;
  std::size_t runEnd_ = 0;
  std::vector<Bracket> brackets_;
  std::uint64_t steps_ = 0;
};

}  // namespace korvane::links
