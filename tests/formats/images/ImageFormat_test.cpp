#include "formats/images/ImageFormat.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace korvane {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

std::string formatOf(std::string_view data) {
  return std::string(imageFormat(NSData(data.begin(), data.end())));
}

TEST(ImageFormat, IsToldFromTheFirstBytes) {
  struct Case {
    std::string_view data;
    std::string_view format;
  };
  for (const Case& one : {
           Case{"", ""},
           Case{"\0"sv, ""},
           Case{"\x89PNG\r\n\x1A\n", "png"},
           Case{"\x89PNG\r\n\x1A", ""},
           Case{"\xFF\xD8\xFF\xE0", "jpeg"},
           Case{"\xFF\xD8", ""},
           Case{"GIF87a", "gif"},
           Case{"GIF89a", "gif"},
           Case{"GIF88a", ""},
           Case{"II*\0"sv, "tiff"},
           Case{"MM\0*"sv, "tiff"},
           Case{"BM", "bmp"},
           Case{"\0\0\1\0\1\0"sv, "ico"},
           Case{"\0\0\2\0\1\0"sv, "ico"},
           Case{"RIFF\1\2\3\4WEBP", "webp"},
           Case{"RIFX\1\2\3\4WEBP", ""},
           Case{"RIFF\1\2\3\4ACON", "ani"},
           Case{"RIFF\1\2\3\4WAVE", ""},
           Case{"icns\0\0\0\0"sv, "icns"},
           Case{"8BPS\0\1"sv, "psd"},
           Case{"/* XPM */\n", "xpm"},
           Case{"\0\0\0\x1C"
                "ftypavif"sv,
                "avif"},
           Case{"\0\0\0\x1C"
                "ftypheic"sv,
                "heif"},
           Case{"\0\0\0\x1C"
                "ftypmif1"sv,
                "heif"},
           Case{"\0\0\0\x1C"
                "ftypisom"sv,
                ""},
           Case{"\xFF\x0A", "jxl"},
           Case{"\0\0\0\x0CJXL \r\n\x87\n"sv, "jxl"},
           Case{"\0\0\0\x0CjP  \r\n"sv, "jp2"},
           Case{"P1 1", "pnm"},
           Case{"P6\n# a comment", "pnm"},
           Case{"P7\n", ""},
           Case{"P6 ", ""},
           Case{"Pages", ""},
           Case{"<svg>", "svg"},
           Case{"<svg", "svg"},
           Case{"\xEF\xBB\xBF <svg a='b'>", "svg"},
           Case{"<?xml version='1.0'?>\n<!-- a --><svg:svg xmlns:svg='x'>", "svg"},
           Case{"<!DOCTYPE svg PUBLIC \"a\" \"b\"><svg>", "svg"},
           Case{"<!DOCTYPE html><svg>", ""},
           Case{"<?xml version='1.0'?", ""},
           Case{"<svgx>", ""},
           Case{"<html><svg>", ""},
           Case{"svg", ""},
           Case{"\x1F\x8B\x08", "svg"},
           Case{"a text that is not a picture", ""},
       }) {
    EXPECT_EQ(formatOf(one.data), one.format) << one.data;
  }
}

TEST(ImageFormat, TargaIsToldFromItsEndOrFromAHeadThatMakesSense) {
  std::string head("\0\0\2\0\0\0\0\0\0\0\0\0\1\0\1\0\x18\0"sv);
  EXPECT_EQ(formatOf(head), "tga");
  for (const auto& [at, byte] : {std::pair{2, 4}, {16, 17}, {1, 2}, {12, 0}, {14, 0}, {17, 0x40}}) {
    std::string other = head;
    other[static_cast<std::size_t>(at)] = static_cast<char>(byte);
    EXPECT_EQ(formatOf(other), "") << at;
    EXPECT_EQ(formatOf(other + "TRUEVISION-XFILE."s + '\0'), "tga") << at;
  }
  head.resize(17);
  EXPECT_EQ(formatOf(head), "");
}

TEST(ImageFormat, LooksAtTheBeginningOnly) {
  EXPECT_EQ(formatOf("<!--" + std::string(500, ' ') + "--><svg>"), "svg");
  EXPECT_EQ(formatOf("<!--" + std::string(100'000, ' ') + "--><svg>"), "");
}

}  // namespace
}  // namespace korvane
