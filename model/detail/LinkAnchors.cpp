#include "model/detail/LinkAnchors.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <unordered_map>

#include "model/detail/TextSearch.h"
#include "platform/NSFormat.h"

namespace korvane {
namespace {

constexpr std::string_view kAnchorBegin = "<a href='";
constexpr std::string_view kAnchorMiddle = "'>";
constexpr std::string_view kAnchorEnd = "</a>";
constexpr std::size_t kAnchorSize = kAnchorBegin.size() + kAnchorMiddle.size() + kAnchorEnd.size();

/// How many links may be replaced by a search of the whole text.
constexpr int kMaxSearches = 64;

/// Different links, and which of them each one of a list is.
struct LinkNumbers {
  explicit LinkNumbers(std::span<const std::string> links) {
    std::unordered_map<std::string_view, std::size_t> known;
    numbers.reserve(links.size());
    for (const std::string& link : links) {
      const auto [found, isNew] = known.try_emplace(link, different.size());
      if (isNew) different.push_back(link);
      numbers.push_back(found->second);
    }
  }
  std::vector<std::string_view> different;
  std::vector<std::size_t> numbers;
};

/// Which of the links may stand partly in an anchor's own characters. Absent beyond the limits.
std::optional<std::vector<bool>> linksAcrossEdges(const std::vector<std::string_view>& links) {
  std::vector<bool> across(links.size(), false);
  std::string anchors;
  std::vector<std::size_t> linkBegins;
  for (const std::string_view link : links) {
    anchors += kAnchorBegin;
    linkBegins.push_back(anchors.size());
    anchors += link;
    anchors += kAnchorMiddle;
    anchors += kAnchorEnd;
  }
  const auto places = occurrencesOfEach(anchors, links);
  if (!places) return std::nullopt;
  for (std::size_t number = 0; number < links.size(); ++number) {
    const std::string_view link = links[number];
    across[number] = link.find_first_of("<>") != std::string_view::npos ||
                     std::any_of((*places)[number].begin(), (*places)[number].end(), [&](auto at) {
                       auto around = std::upper_bound(linkBegins.begin(), linkBegins.end(), at);
                       if (around == linkBegins.begin()) return true;
                       const auto within = static_cast<std::size_t>(--around - linkBegins.begin());
                       return at + link.size() > *around + links[within].size();
                     });
  }
  return across;
}

/// A stretch of the text that has an anchor around it.
struct Anchored {
  std::size_t begin;
  std::size_t end;
};

/// Writes text[begin, end) with the anchors from `next` on that lie in it.
void write(std::string& out, std::string_view text, std::size_t begin, std::size_t end,
           std::span<const Anchored>& next) {
  while (!next.empty() && next.front().begin < end) {
    const Anchored anchor = next.front();
    next = next.subspan(1);
    out.append(text.substr(begin, anchor.begin - begin));
    out += kAnchorBegin;
    const std::size_t address = out.size();
    write(out, text, anchor.begin, anchor.end, next);
    const std::size_t length = out.size() - address;
    out += kAnchorMiddle;
    out.append(out, address, length);
    out += kAnchorEnd;
    begin = anchor.end;
  }
  out.append(text.substr(begin, end - begin));
}

/// Replaces links none of which stands across an anchor's edge. What an anchor is put around can
/// then be replaced in its own bounds alone, and becomes the same in both places of the anchor: the
/// anchors form a tree over the text as it was, which is written out at the end.
AnchoredText replacedWithin(std::string_view text, std::span<const std::string> links,
                            std::size_t limit) {
  const LinkNumbers list(links);
  auto places = occurrencesOfEach(text, list.different);
  if (!places) return {std::string(text), false};

  AnchoredText result;
  std::size_t size = text.size();
  std::vector<Anchored> anchors;
  std::vector<char> edges(text.size() + 1, 0);           // before which bytes an anchor's edge is
  std::vector<std::uint8_t> depths(text.size() + 1, 0);  // how many anchors are around each byte
  for (const std::size_t number : list.numbers) {
    const std::size_t length = list.different[number].size();
    std::vector<std::uint32_t>& standing = (*places)[number];
    std::erase_if(standing, [&](std::size_t at) {
      return std::memchr(edges.data() + at + 1, 1, length - 1) != nullptr;
    });

    const std::size_t known = anchors.size();
    std::size_t added = 0;
    std::size_t end = 0;
    for (const std::size_t at : standing) {
      if (at < end) continue;
      end = at + length;
      anchors.push_back({at, end});
      added += (kAnchorSize + length) << depths[at];
    }
    if (added > limit - size) {
      anchors.resize(known);
      result.complete = false;
      break;
    }
    size += added;
    for (std::size_t i = known; i < anchors.size(); ++i) {
      edges[anchors[i].begin] = edges[anchors[i].end] = 1;
      for (std::size_t at = anchors[i].begin; at < anchors[i].end; ++at) ++depths[at];
    }
  }

  // Anchors made later lie inside those made before.
  std::stable_sort(anchors.begin(), anchors.end(),
                   [](const Anchored& a, const Anchored& b) { return a.begin < b.begin; });
  result.text.reserve(size);
  std::span<const Anchored> next = anchors;
  write(result.text, text, 0, text.size(), next);
  return result;
}

/// Replaces one link by searching the text as it is now.
AnchoredText replacedAnywhere(std::string_view text, std::string_view link, std::size_t limit) {
  const std::vector<std::size_t> places = occurrences(text, link);
  if (places.size() > (limit - text.size()) / (kAnchorSize + link.size())) {
    return {std::string(text), false};
  }
  const std::string anchor = stringWithFormat("<a href='%@'>%@</a>", link, link);
  AnchoredText result;
  std::size_t from = 0;
  for (const std::size_t at : places) {
    result.text.append(text.substr(from, at - from));
    result.text += anchor;
    from = at + link.size();
  }
  result.text.append(text.substr(from));
  return result;
}

}  // namespace

AnchoredText textWithAnchors(std::string_view text, const std::vector<std::string>& links,
                             std::size_t limit) {
  if (text.size() > limit) return {std::string(text), false};
  const LinkNumbers list(links);
  const auto across = linksAcrossEdges(list.different);
  if (!across) return {std::string(text), false};

  AnchoredText result{std::string(text)};
  int searches = 0;
  for (std::size_t next = 0; next < links.size() && result.complete;) {
    std::size_t end = next;
    while (end < links.size() && !(*across)[list.numbers[end]]) ++end;
    if (end > next) {
      result = replacedWithin(result.text, std::span(links).subspan(next, end - next), limit);
      next = end;
    } else if (++searches > kMaxSearches) {
      result.complete = false;
    } else {
      result = replacedAnywhere(result.text, links[next], limit);
      ++next;
    }
  }
  return result;
}

}  // namespace korvane
