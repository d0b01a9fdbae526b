#include "formats/images/DecodedPicture.h"

#include <cstring>

namespace korvane {

DecodedPicture readDecodedPicture(std::span<const std::uint8_t> bytes) {
  DecodedHead head;
  if (bytes.size() < sizeof head) return {};
  std::memcpy(&head, bytes.data(), sizeof head);
  bytes = bytes.subspan(sizeof head);
  if (head.magic != DecodedHead::kMagic || head.reserved != 0) return {};
  switch (head.status) {
    case DecodeStatus::decoded:
      break;
    case DecodeStatus::notAPicture:
    case DecodeStatus::damaged:
    case DecodeStatus::tooLarge:
    case DecodeStatus::noMemory:
      return {head.status, nullptr};
    default:
      return {};
  }
  if ((head.channels != 3 && head.channels != 4) ||
      !isAllowedPicture(head.width, head.height, head.channels) ||
      head.profileBytes > kMaxProfileBytes || head.profileBytes > bytes.size()) {
    return {};
  }
  const std::size_t stride = std::size_t{head.width} * head.channels;
  const auto profile = bytes.first(head.profileBytes);
  const auto pixels = bytes.subspan(head.profileBytes);
  if (pixels.size() != stride * head.height) return {};
  if (!profile.empty() && !isProfileOfRGB(profile)) return {};
  auto bitmap = std::make_shared<Bitmap>();
  bitmap->width = head.width;
  bitmap->height = head.height;
  bitmap->channels = head.channels;
  bitmap->stride = stride;
  bitmap->pixels.assign(pixels.begin(), pixels.end());
  bitmap->profile.assign(profile.begin(), profile.end());
  bitmap->pixelsPerMetreX = head.pixelsPerMetreX;
  bitmap->pixelsPerMetreY = head.pixelsPerMetreY;
  return {DecodeStatus::decoded, std::move(bitmap)};
}

bool isProfileOfRGB(std::span<const std::uint8_t> profile) {
  constexpr std::size_t kHeadBytes = 128;
  if (profile.size() < kHeadBytes || profile.size() > kMaxProfileBytes) return false;
  const std::uint32_t size = static_cast<std::uint32_t>(profile[0]) << 24 |
                             static_cast<std::uint32_t>(profile[1]) << 16 |
                             static_cast<std::uint32_t>(profile[2]) << 8 | profile[3];
  return size == profile.size() && std::memcmp(&profile[16], "RGB ", 4) == 0 &&
         std::memcmp(&profile[36], "acsp", 4) == 0;
}

}  // namespace korvane
