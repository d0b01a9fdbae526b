#include "formats/Signatures.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>

namespace korvane {
namespace {

using namespace std::string_literals;

TEST(Signatures, EveryFormat) {
  const std::pair<std::string, DataFormat> rows[] = {
      {"\x89PNG\r\n\x1a\n..."s, DataFormat::png},
      {"\xFF\xD8\xFF\xE0"s, DataFormat::jpeg},
      {"GIF87a"s, DataFormat::gif},
      {"GIF89a.."s, DataFormat::gif},
      {"RIFF....WEBPVP8 "s, DataFormat::webp},
      {"II*\0.."s, DataFormat::tiff},
      {"MM\0*"s, DataFormat::tiff},
      {"BM\x10\0\0\0\0\0\0\0"s, DataFormat::bmp},
      {"BM\x10\0\0\0abcd\x36\0\0\0\x28\0\0\0"s, DataFormat::bmp},
      {"\0\0\1\0\1\0"s, DataFormat::ico},
      {"\0\0\2\0\1\0"s, DataFormat::cursor},
      {"\0\0\0\x18"
       "ftypheic"s,
       DataFormat::heif},
      {"\0\0\0\x18"
       "ftypmif1"s,
       DataFormat::heif},
      {"\0\0\0\x18"
       "ftypavif"s,
       DataFormat::avif},
      {"\0\0\0\x0CJXL \r\n\x87\n"s, DataFormat::jpegXL},
      {"\xFF\x0A..."s, DataFormat::jpegXL},
      {"\0\0\0\x0CjP  \r\n"s, DataFormat::jpeg2000},
      {"RIFF....ACON"s, DataFormat::animatedCursor},
      {"icns\0\0"s, DataFormat::icns},
      {"8BPS\0\1"s, DataFormat::psd},
      {"/* XPM */ static"s, DataFormat::xpm},
      {"P6\n1 1\n255\nxxx"s, DataFormat::portableMap},
      {"P3 # x"s, DataFormat::portableMap},
      {"%PDF-1.4"s, DataFormat::pdf},
      {"PK\x03\x04"s, DataFormat::zip},
  };
  for (const auto& [bytes, format] : rows) {
    EXPECT_EQ(formatBySignature(bytes), format) << bytes;
    // Every other beginning of it is told as something else or not at all.
    EXPECT_EQ(formatBySignature(bytes.substr(0, 1)), DataFormat::unknown) << bytes;
  }
}

TEST(Signatures, WhatOnlyLooksLikeOne) {
  for (const std::string& bytes :
       {""s, "GIF is a format"s, "BMW is a car"s, "P6"s, "P6x"s, "P7\n1"s, "P1 a"s, "RIFF....WAVE"s,
        "\0\0\0\x18"
        "ftypmp42"s,
        "\0\0\2\0\0\0\0\0"s, "\0\0\2\0"s, "<svg>"s, "<html>"s, "II*x"s, "\x89PNG"s}) {
    EXPECT_EQ(formatBySignature(bytes), DataFormat::unknown) << bytes;
  }
}

TEST(Signatures, FirstTag) {
  const std::pair<std::string_view, DataFormat> rows[] = {
      {"<svg xmlns='x'/>", DataFormat::svg},
      {"<?xml version='1.0'?><!-- x --> <svg>", DataFormat::svg},
      {"<!DOCTYPE svg PUBLIC", DataFormat::svg},
      {"\xEF\xBB\xBF<?x?><a:svg xmlns:a='x'>", DataFormat::svg},
      {"<!DOCTYPE html>", DataFormat::html},
      {"<!doctype HTML PUBLIC", DataFormat::html},
      {"  \n\t<p>x", DataFormat::html},
      {"<!-- a --><!-- b -->\n<div class=x>", DataFormat::html},
      {"<br/>", DataFormat::html},
      {"<", DataFormat::unknown},
      {"<3 you", DataFormat::unknown},
      {"<!-- only", DataFormat::unknown},
      {"<!-- only -->", DataFormat::unknown},
      {"<?xml version='1.0'?><feed/>", DataFormat::unknown},
      {"<!DOCTYPE note>", DataFormat::unknown},
      {"a <b> c", DataFormat::unknown},
      {"", DataFormat::unknown},
  };
  for (const auto& [text, format] : rows) EXPECT_EQ(formatByFirstTag(text), format) << text;
}

TEST(Signatures, EveryFormatHasItsType) {
  std::set<std::string_view> pictures;
  for (auto i = static_cast<int>(DataFormat::unknown); i <= static_cast<int>(DataFormat::zip);
       ++i) {
    const auto format = static_cast<DataFormat>(i);
    const std::string_view type = mimeType(format);
    EXPECT_EQ(isPicture(format), type.starts_with("image/") || format == DataFormat::animatedCursor)
        << type;
    EXPECT_EQ(type == "application/octet-stream", format == DataFormat::unknown);
    if (isPicture(format)) pictures.insert(type);
  }
  EXPECT_EQ(pictures.size(), 17U);  // icons and cursors have one type
  EXPECT_EQ(mimeType(DataFormat::html), "text/html");
  EXPECT_EQ(mimeType(DataFormat::pdf), "application/pdf");
}

}  // namespace
}  // namespace korvane
