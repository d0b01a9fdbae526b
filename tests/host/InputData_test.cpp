#include "host/InputData.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "host/InputError.h"
#include "host/ShareRequest.h"
#include "tests/support/FakeShare.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

using namespace std::string_literals;
using ::testing::HasSubstr;

NSData bytes(std::string_view text) { return {text.begin(), text.end()}; }

std::string failure(const std::function<void()>& work) {
  try {
    work();
  } catch (const InputError& error) {
    return error.what();
  }
  return "";
}

class InputData : public ::testing::Test {
 protected:
  testing::TemporaryFolder folder;
  testing::SharePlatform platform;  // "picture …" can be decoded
};

TEST_F(InputData, ReadsFilesWhole) {
  const std::string content = "a\0b\xFF"s + std::string(200'000, 'x');
  const std::string path = folder.file("x", content);
  EXPECT_EQ(readInput(path), bytes(content));
  EXPECT_EQ(readRegularFile(path), bytes(content));
  EXPECT_EQ(readInput(folder.file("empty")), NSData());
  std::filesystem::create_symlink(path, folder.path("link"));
  EXPECT_EQ(readRegularFile(folder.path("link")), bytes(content));
}

TEST_F(InputData, ReadsFilesWhoseSizeIsNotKnown) {
  EXPECT_FALSE(readInput("/proc/self/status").empty());
  EXPECT_FALSE(readRegularFile("/proc/self/status").empty());
}

TEST_F(InputData, ReadsPipesToTheirEnd) {
  const std::string pipe = folder.path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::thread writer([&] {
    const int descriptor = open(pipe.c_str(), O_WRONLY);
    for (int i = 0; i < 100; ++i)
      EXPECT_EQ(write(descriptor, std::string(3000, 'x').data(), 3000), 3000);
    close(descriptor);
  });
  EXPECT_EQ(readInput(pipe).size(), 300'000U);
  writer.join();
}

TEST_F(InputData, ReadsStandardInput) {
  const std::string path = folder.file("x", "from outside");
  const int saved = dup(STDIN_FILENO);
  const int file = open(path.c_str(), O_RDONLY);
  dup2(file, STDIN_FILENO);
  EXPECT_EQ(readInput("-"), bytes("from outside"));
  EXPECT_EQ(readInput("-"), NSData());  // it is not closed
  dup2(saved, STDIN_FILENO);
  close(file);
  close(saved);
}

TEST_F(InputData, WhatIsNoRegularFileIsRefusedAtOnce) {
  const std::string pipe = folder.path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(failure([&] { readRegularFile(pipe); }), "not a regular file");
  EXPECT_EQ(failure([&] { readRegularFile(folder.path()); }), "not a regular file");
  EXPECT_EQ(failure([&] { readRegularFile("/dev/zero"); }), "not a regular file");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  folder.path("socket").copy(address.sun_path, sizeof address.sun_path - 1);
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_NE(failure([&] { readRegularFile(folder.path("socket")); }), "");
  close(listener);
}

TEST_F(InputData, SaysWhyAFileCannotBeRead) {
  EXPECT_EQ(failure([&] { readInput(folder.path("none")); }), "No such file or directory");
  EXPECT_EQ(failure([&] { readRegularFile(folder.path("none")); }), "No such file or directory");
  EXPECT_EQ(failure([&] { readInput(folder.path()); }), "Is a directory");
}

TEST_F(InputData, HugeInputIsRefused) {
  const std::string path = folder.file("huge");
  std::filesystem::resize_file(path, kMaxInput + 1);
  EXPECT_EQ(failure([&] { readInput(path); }), "larger than 256 MiB");
  EXPECT_EQ(failure([&] { readRegularFile(path); }), "larger than 256 MiB");
  EXPECT_EQ(failure([&] { readInput("/dev/zero"); }), "larger than 256 MiB");
}

TEST_F(InputData, TellsImagesByTheirSignatures) {
  for (const std::string& data :
       {"\x89PNG\r\n\x1a\n..."s, "\xFF\xD8\xFF\xE0"s, "GIF87a"s, "GIF89a.."s, "II*\0.."s, "MM\0*"s,
        "RIFF....WEBPVP8 "s, "BM\x10\0\0\0\0\0\0\0"s,
        "\0\0\0\x18"
        "ftypheic"s,
        "\0\0\0\x18"
        "ftypavif"s,
        "\0\0\1\0\1\0"s, "P6\n1 1\n255\nxxx"s, "P3 # x"s, "/* XPM */ static"s, "<svg xmlns='x'/>"s,
        "\xEF\xBB\xBF<?xml version='1.0'?><!-- x --> <svg>"s, "<!DOCTYPE svg PUBLIC"s,
        "\xFF\x0A..."s}) {
    // The document type of a drawing is followed by "svg", that of a page by "html".
    EXPECT_EQ(kindOfData(bytes(data)), DataKind::image) << data;
  }
}

TEST_F(InputData, TellsHTMLByItsFirstTag) {
  for (const char* data :
       {"<!DOCTYPE html>", "<!doctype HTML PUBLIC", "<html>", "<HTML lang=de>", "<head>",
        "<body bgcolor=x>", "  \n\t<p>x", "<!-- a --><!-- b -->\n<div class=x>", "<b>x</b>",
        "<br/>", "<meta charset=utf-8>", "\xEF\xBB\xBF<html>", "<a href=x>", "<table>",
        "<h1>x</h1>", "<?xml version=\"1.0\"?>\n<!DOCTYPE html><html/>", "<span\n class=x>",
        "<p>caf\xE9</p>"}) {
    EXPECT_EQ(kindOfData(bytes(data)), DataKind::html) << data;
  }
  EXPECT_EQ(kindOfData(bytes("\xFF\xFE<\0p\0>\0x\0"s)), DataKind::html);
}

TEST_F(InputData, EverythingElseThatReadsIsText) {
  for (const std::string& data :
       {""s, " "s, "hello"s, "a <b> c"s, "<"s, "<3 you"s, "<you@a.example>"s, "<!-- only"s,
        "<!-- only -->"s, "<?xml version='1.0'?><feed/>"s, "<!DOCTYPE note>"s, "BMW is a car"s,
        "GIF is a format"s, "P6"s, "P6x"s, "<abc>"s, "caf\xE9"s, "\xFF\xFEh\0i\0"s,
        "%PDF-1.4 text"s}) {
    EXPECT_EQ(kindOfData(bytes(data)), DataKind::text) << data;
  }
}

TEST_F(InputData, BinaryDataIsAnImageWhereItCanBeDecoded) {
  EXPECT_EQ(kindOfData(bytes("picture \0x"s)), DataKind::image);
  EXPECT_EQ(kindOfData(bytes("\x7F"
                             "ELF\0\0"s)),
            DataKind::unknown);
}

TEST_F(InputData, DecodesTexts) {
  EXPECT_EQ(decodeText("gr\xC3\xBC\xC3\x9F"), "gr\xC3\xBC\xC3\x9F");
  EXPECT_EQ(decodeText("\xEF\xBB\xBFx"), "x");
  EXPECT_EQ(decodeText("\xFF\xFEx\0\xE4\0"s), "x\xC3\xA4");
  EXPECT_EQ(decodeText("\xFE\xFF\0x\0\xE4"s), "x\xC3\xA4");
  EXPECT_EQ(decodeText("\xFF\xFE\0\0x\0\0\0"s), "x");
  EXPECT_EQ(decodeText("\0\0\xFE\xFF\0\0\0x"s), "x");
  EXPECT_EQ(decodeText("gr\xFC\xDF 5 \x80"), "gr\xC3\xBC\xC3\x9F 5 \xE2\x82\xAC");
  EXPECT_EQ(decodeText(""), "");
  EXPECT_EQ(decodeText("a\0b"s), std::nullopt);
  EXPECT_EQ(decodeText(bytes("x")), "x");
}

}  // namespace
}  // namespace korvane
