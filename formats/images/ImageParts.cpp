#include "formats/images/ImageParts.h"

#include <cstring>

namespace korvane {
namespace {

using Bytes = std::span<const std::uint8_t>;
using Parts = std::vector<ImagePart>;

Parts whole(Bytes encoded) { return {{0, encoded.size()}}; }

void add(Parts& parts, ImagePart part) {
  if (!parts.empty() && parts.back().end == part.begin) {
    parts.back().end = part.end;
  } else {
    parts.push_back(part);
  }
}

Parts withoutTexts(Bytes encoded) {
  constexpr std::size_t kSignatureBytes = 8;
  constexpr std::size_t kAroundData = 12;  // length, type and checksum
  Parts parts{{0, kSignatureBytes}};
  std::size_t at = kSignatureBytes;
  while (at + kAroundData <= encoded.size()) {
    const std::uint8_t* chunk = &encoded[at];
    const std::size_t length = static_cast<std::size_t>(chunk[0]) << 24 |
                               static_cast<std::size_t>(chunk[1]) << 16 |
                               static_cast<std::size_t>(chunk[2]) << 8 | chunk[3];
    const auto is = [&](const char* type) { return std::memcmp(chunk + 4, type, 4) == 0; };
    if (length > encoded.size() - at - kAroundData) return whole(encoded);
    const std::size_t end = at + kAroundData + length;
    if (!is("tEXt") && !is("zTXt") && !is("iTXt")) add(parts, {at, end});
    if (is("IEND")) return parts;
    at = end;
  }
  return whole(encoded);
}

// The bytes that a GIF's colour table takes, by the flags before it.
std::size_t colorTable(std::uint8_t flags) {
  return (flags & 0x80U) != 0 ? std::size_t{3} << ((flags & 7U) + 1) : 0;
}

Parts firstFrame(Bytes encoded) {
  constexpr std::size_t kHeadBytes = 13;
  if (encoded.size() < kHeadBytes) return whole(encoded);
  const auto byte = [&](std::size_t at) -> std::uint8_t {
    return at < encoded.size() ? encoded[at] : 0;
  };
  std::size_t at = kHeadBytes + colorTable(byte(10));
  std::size_t frameEnd = 0;
  while (at < encoded.size()) {
    constexpr std::uint8_t kExtension = 0x21;
    constexpr std::uint8_t kImage = 0x2C;
    constexpr std::uint8_t kEnd = 0x3B;
    const std::uint8_t kind = byte(at);
    if (kind == kEnd && frameEnd != 0) return {{0, frameEnd}, {at, at + 1}};
    if (kind == kExtension) {
      at += 2;
    } else if (kind == kImage) {
      at += 10 + colorTable(byte(at + 9)) + 1;
    } else {
      break;
    }
    while (at < encoded.size() && byte(at) != 0) at += 1U + byte(at);  // blocks of data
    ++at;                                                              // and the empty one
    if (kind == kImage && frameEnd == 0) frameEnd = at;
  }
  return whole(encoded);
}

}  // namespace

std::vector<ImagePart> neededParts(std::span<const std::uint8_t> encoded, std::string_view format) {
  if (format == "png") return withoutTexts(encoded);
  if (format == "gif") return firstFrame(encoded);
  return whole(encoded);
}

}  // namespace korvane
