#include "formats/images/ImageEnd.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "formats/Signatures.h"

namespace korvane {
namespace {

// The bytes of a file; reading past their end gives 0.
class File {
 public:
  explicit File(const NSData& data) : data_(data) {}
  std::size_t size() const { return data_.size(); }
  unsigned byte(std::size_t at) const { return at < data_.size() ? data_[at] : 0; }
  std::uint64_t littleEndian(std::size_t at, unsigned bytes) const {
    std::uint64_t number = 0;
    for (unsigned i = bytes; i-- > 0;) number = number << 8 | byte(at + i);
    return number;
  }
  std::uint64_t bigEndian(std::size_t at, unsigned bytes) const {
    std::uint64_t number = 0;
    for (unsigned i = 0; i < bytes; ++i) number = number << 8 | byte(at + i);
    return number;
  }
  bool has(std::size_t at, std::string_view text) const {
    return at <= size() && size() - at >= text.size() &&
           std::memcmp(data_.data() + at, text.data(), text.size()) == 0;
  }
  std::size_t find(unsigned char byte, std::size_t from) const {
    if (from >= size()) return size();
    const void* found = std::memchr(data_.data() + from, byte, size() - from);
    return found == nullptr
               ? size()
               : static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - data_.data());
  }

 private:
  const NSData& data_;
};

// A PNG ends with the chunk IEND.
bool isPNGCutOff(const File& file) {
  std::size_t at = 8;
  while (at + 12 <= file.size()) {
    if (file.has(at + 4, "IEND")) return false;
    at += 12 + file.bigEndian(at, 4);
  }
  return true;
}

// A JPEG ends with the marker EOI. Segments have a length, so that a preview inside one is passed
// over; after a scan's header come data in which 0xFF is followed by 0 or a restart marker.
bool isJPEGCutOff(const File& file) {
  std::size_t at = 2;
  while ((at = file.find(0xFF, at)) + 1 < file.size()) {
    const unsigned marker = file.byte(at + 1);
    if (marker == 0xD9) return false;
    if (marker == 0xFF) {  // fill
      ++at;
    } else if (marker == 0 || marker == 1 || (marker >= 0xD0 && marker <= 0xD8)) {
      at += 2;
    } else {
      at += 2 + file.bigEndian(at + 2, 2);
    }
  }
  return true;
}

bool isWebPCutOff(const File& file) { return 8 + file.littleEndian(4, 4) > file.size(); }

bool isBMPCutOff(const File& file) {
  constexpr std::uint64_t kOldHeader = 12;
  const bool old = file.littleEndian(14, 4) == kOldHeader;
  const std::uint64_t width = old ? file.littleEndian(18, 2) : file.littleEndian(18, 4);
  const auto stored =
      static_cast<std::int32_t>(old ? file.littleEndian(20, 2) : file.littleEndian(22, 4));
  const std::uint64_t height = stored < 0 ? -static_cast<std::int64_t>(stored) : stored;
  const std::uint64_t bits = file.littleEndian(old ? 24 : 28, 2);
  const std::uint64_t compression = old ? 0 : file.littleEndian(30, 4);
  constexpr std::uint64_t kBitFields = 3;
  if (compression != 0 && compression != kBitFields) return false;  // the loader knows
  if (height == 0 || bits > 32 || width > UINT32_MAX / 32) return true;
  const std::uint64_t row = (width * bits + 31) / 32 * 4;
  return file.littleEndian(10, 4) + row * height > file.size();
}

bool isICOCutOff(const File& file) {
  const std::uint64_t count = file.littleEndian(4, 2);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t entry = 6 + i * 16;
    if (file.littleEndian(entry + 12, 4) + file.littleEndian(entry + 8, 4) > file.size()) {
      return true;
    }
  }
  return 6 + count * 16 > file.size();
}

}  // namespace

bool isCutOff(const NSData& encoded) {
  const File file(encoded);
  switch (formatBySignature({reinterpret_cast<const char*>(encoded.data()), encoded.size()})) {
    case DataFormat::png:
      return isPNGCutOff(file);
    case DataFormat::jpeg:
      return isJPEGCutOff(file);
    case DataFormat::webp:
      return isWebPCutOff(file);
    case DataFormat::bmp:
      return isBMPCutOff(file);
    case DataFormat::ico:
    case DataFormat::cursor:
      return isICOCutOff(file);
    default:
      return false;
  }
}

}  // namespace korvane
