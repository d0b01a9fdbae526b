#include "text/Blocks.h"

#include "text/SSSE3.h"

namespace korvane {

#ifdef KORVANE_HAS_SSSE3

bool hasBlocks() {
  static const bool has = __builtin_cpu_supports("ssse3") != 0;
  return has;
}

void encodeBase64Blocks(const char*& in, const char* end, char*& out) {
  if (hasBlocks()) ssse3::encodeBase64(in, end, out);
}
void decodeBase64Blocks(const char*& in, const char* end, char*& out) {
  if (hasBlocks()) ssse3::decodeBase64(in, end, out);
}
std::size_t countEscapedBlocks(const char*& in, const char* end) {
  return hasBlocks() ? ssse3::countEscaped(in, end) : 0;
}
void encodePercentBlocks(const char*& in, const char* end, char*& out) {
  if (hasBlocks()) ssse3::encodePercent(in, end, out);
}
bool decodePercentBlocks(const char*& in, const char* end, char*& out, char plus) {
  return !hasBlocks() || ssse3::decodePercent(in, end, out, plus);
}
bool skipUTF8Blocks(std::string_view& bytes) {
  return !hasBlocks() || bytes.size() < 16 || ssse3::skipUTF8(bytes);
}

#else

bool hasBlocks() { return false; }
void encodeBase64Blocks(const char*&, const char*, char*&) {}
void decodeBase64Blocks(const char*&, const char*, char*&) {}
std::size_t countEscapedBlocks(const char*&, const char*) { return 0; }
void encodePercentBlocks(const char*&, const char*, char*&) {}
bool decodePercentBlocks(const char*&, const char*, char*&, char) { return true; }
bool skipUTF8Blocks(std::string_view&) { return true; }

#endif

}  // namespace korvane
