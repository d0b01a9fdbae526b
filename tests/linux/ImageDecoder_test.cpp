#include "linux/detail/ImageDecoder.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "formats/images/DecodedPicture.h"
#include "support/ChildProcess.h"
#include "support/Places.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

NSData file(const std::string& name) {
  const std::string content = testing::contentOf(KORVANE_TEST_DATA "/images/" + name);
  return {content.begin(), content.end()};
}

std::size_t openDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

// A test may have to wait for its processor longer than a person would for a picture.
constexpr std::chrono::minutes kPatience{5};

class ImageDecoderTest : public ::testing::Test {
 protected:
  // A decoder whose program is this script.
  ImageDecoder decoderOf(const std::string& script) const {
    const auto path = std::filesystem::path(folder.path()) / "decoder";
    std::filesystem::remove(path);
    std::ofstream(path) << script;
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return {path, kPatience};
  }
  // A Python program that can write a head with `head(...)`.
  ImageDecoder pythonDecoder(const std::string& body) const {
    return decoderOf(
        "#!/usr/bin/python3\n"
        "import mmap, os, struct, sys, time\n"
        "def head(status=1, width=1, height=1, channels=3, profile=0, magic=" +
        std::to_string(DecodedHead::kMagic) +
        ", reserved=0):\n"
        "    return struct.pack('=QIIIIIIII', magic, status, width, height, channels, 0, 0,\n"
        "                       profile, reserved)\n"
        "def put(data):\n"
        "    os.write(1, data)\n" +
        body + "\n");
  }
  std::string failureOf(const ImageDecoder& decoder) const {
    std::string why;
    EXPECT_EQ(decoder.decode(picture, why), nullptr);
    return why;
  }

  testing::TemporaryFolder folder;
  NSData picture = file("corners.png");
};

TEST_F(ImageDecoderTest, TheProgramOfTheBuildTreeIsFound) {
  EXPECT_EQ(ImageDecoder::installedProgram(),
            KORVANE_BINARY_DIR "/libexec/korvane/korvane-image-decoder");
}

TEST_F(ImageDecoderTest, APictureIsDecoded) {
  std::string why;
  const auto bitmap = ImageDecoder{.patience = kPatience}.decode(picture, why);
  ASSERT_TRUE(bitmap) << why;
  EXPECT_EQ(bitmap->width, 48U);
  EXPECT_EQ(bitmap->height, 32U);
}

TEST_F(ImageDecoderTest, AMissingProgramIsTold) {
  EXPECT_EQ(failureOf({"/nonexistent/decoder", kPatience}),
            "the program that decodes pictures cannot be started: /nonexistent/decoder: No such "
            "file or directory");
}

TEST_F(ImageDecoderTest, AnotherProgramMayAnswer) {
  std::string why;
  const auto bitmap = pythonDecoder("put(head(width=2) + b'abcdef')").decode(picture, why);
  ASSERT_TRUE(bitmap) << why;
  EXPECT_EQ(*bitmap, (Bitmap{2, 1, 3, 6, {'a', 'b', 'c', 'd', 'e', 'f'}}));
}

TEST_F(ImageDecoderTest, AProcessWithoutADescriptorIsWaitedForToo) {
  EXPECT_EQ(testing::inChild([&] {
              ::alarm(60);  // the decoder's patience is longer
              std::string why;
              return testing::failCall(SYS_pidfd_open, ENOSYS) &&
                     ImageDecoder{ImageDecoder::installedProgram(), kPatience}.decode(picture,
                                                                                      why) &&
                     failureOf(pythonDecoder("time.sleep(0.1)")) != "" &&
                     failureOf(pythonDecoder("os.kill(os.getpid(), 11)")) != "";
            }),
            0);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(ImageDecoderTest, NoRoomForItsAnswerIsWantOfMemory) {
  constexpr rlim_t kAnswer = rlim_t{256} << 20;
  const ImageDecoder decoder = pythonDecoder("os.truncate(1, " + std::to_string(kAnswer) + ")");
  EXPECT_EQ(testing::inChild([&] {
              rlim_t pages = 0;
              std::ifstream("/proc/self/statm") >> pages;
              const auto pageSize = static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
              if (!testing::setLimit(RLIMIT_AS, pages * pageSize + kAnswer / 2)) return false;
              std::string why;
              try {
                decoder.decode(picture, why);
              } catch (const std::bad_alloc&) {
                return true;
              }
              return false;
            }),
            0);
}
#endif

// The process is not trusted: whatever it says is checked, and however it ends is told.
TEST_F(ImageDecoderTest, WhatDoesNotFitTogetherIsRefused) {
  const std::vector<std::string> lies{
      "",                                                         // nothing at all
      "put(b'x')",                                                // less than a head
      "put(head()[:-1])",                                         //
      "put(head())",                                              // no pixels
      "put(head() + b'ab')",                                      // too few
      "put(head() + b'abcd')",                                    // too many
      "put(head(magic=1) + b'abc')",                              //
      "put(head(reserved=1) + b'abc')",                           //
      "put(head(status=0) + b'abc')",                             //
      "put(head(status=6))",                                      //
      "put(head(status=99))",                                     //
      "put(head(channels=2) + b'ab')",                            //
      "put(head(channels=0))",                                    //
      "put(head(channels=5) + b'abcde')",                         //
      "put(head(width=0))",                                       //
      "put(head(height=0))",                                      //
      "put(head(width=0xFFFFFFFF, height=0xFFFFFFFF) + b'abc')",  // products that wrap around
      "put(head(width=0x80000000, height=2, channels=4))",        //
      "put(head(width=0x55555556, height=1) + b'ab')",            //
      "put(head(width=60000, height=60000)); os.ftruncate(1, 10**9)",
      "put(head(width=20000, height=20000)); os.ftruncate(1, 40 + 3 * 20000 * 20000)",
      "put(head(profile=1) + b'xabc')",                // no profile of anything
      "put(head(profile=0xFFFFFFFF) + b'abc')",        //
      "put(head(profile=4) + b'abc')",                 // longer than the file
      "put(head(profile=128) + bytes(128) + b'abc')",  //
      "put(head(profile=5000000) + bytes(5000000) + b'abc')",
      "os.ftruncate(1, 0)",
      "os.ftruncate(1, 1 << 40)",  // which takes no memory, but would if it were read
  };
  for (const std::string& lie : lies) {
    EXPECT_EQ(failureOf(pythonDecoder(lie)),
              "the program that decodes pictures gave back what does not fit together")
        << lie;
  }
}

// Bytes that somebody could still change are not looked at: not even their size.
TEST_F(ImageDecoderTest, AFileThatCannotBeSealedIsNotRead) {
  EXPECT_EQ(failureOf(pythonDecoder("put(head() + b'abc')\n"
                                    "kept = mmap.mmap(1, 0)\n"
                                    "if os.fork() == 0:\n"
                                    "    time.sleep(5)\n")),
            "the program that decodes pictures gave back what does not fit together");
}

// One that only has it open cannot change it once it is sealed.
TEST_F(ImageDecoderTest, AFileThatIsStillOpenElsewhereIsSealed) {
  std::string why;
  const auto bitmap = pythonDecoder(
                          "put(head() + b'abc')\n"
                          "if os.fork() == 0:\n"
                          "    for i in range(200):\n"
                          "        try: os.pwrite(1, b'x', 40)\n"
                          "        except OSError: break\n"
                          "        time.sleep(0.01)\n")
                          .decode(picture, why);
  if (bitmap) EXPECT_EQ(bitmap->pixels.size(), 3U);
}

TEST_F(ImageDecoderTest, WhatItRefusesIsToldInWords) {
  const auto failure = [&](int status) {
    return failureOf(pythonDecoder("put(head(status=" + std::to_string(status) + "))"));
  };
  EXPECT_EQ(failure(2), "it is not a picture that can be read");
  EXPECT_EQ(failure(3), "the picture is damaged or incomplete");
  EXPECT_EQ(failure(4),
            "the picture has more than 108 megapixels, or more than 81 with transparency");
  EXPECT_EQ(failure(5), "decoding the picture needs too much memory");
}

TEST_F(ImageDecoderTest, HoweverItDiesThePictureAloneIsLost) {
  const std::size_t before = openDescriptors();
  EXPECT_EQ(failureOf(decoderOf("#!/bin/sh\nexit 3\n")),
            "the program that decodes pictures could not decode this one");
  EXPECT_EQ(failureOf(decoderOf("#!/bin/sh\nkill -KILL $$\n")),
            "the program that decodes pictures ended by itself on this one (Killed), for want of "
            "memory perhaps");
  EXPECT_EQ(failureOf(decoderOf("#!/bin/sh\nulimit -t 3\nwhile :; do :; done\n")),
            "decoding the picture takes too long");
  EXPECT_EQ(failureOf(decoderOf("#!/bin/sh\nkill -XCPU $$\n")),
            "decoding the picture takes too long");
  EXPECT_EQ(failureOf(decoderOf("#!/bin/sh\nkill -SYS $$\n")),
            "the picture made the program that decodes it try what it may not do");
  EXPECT_EQ(failureOf(decoderOf("#!/bin/sh\nkill -SEGV $$\n")),
            "the program that decodes pictures ended by itself on this one (Segmentation fault), "
            "for want of memory perhaps");
  EXPECT_EQ(failureOf(decoderOf("no script")),
            "the program that decodes pictures cannot be started: " + folder.path() +
                "/decoder: Exec format error");
  EXPECT_EQ(openDescriptors(), before);
}

// It need not take the data; nor does a large one block.
TEST_F(ImageDecoderTest, OneThatDoesNotReadIsWaitedFor) {
  picture.resize(std::size_t{8} << 20);
  EXPECT_EQ(failureOf(decoderOf("#!/bin/sh\nexit 3\n")),
            "the program that decodes pictures could not decode this one");
  EXPECT_EQ(failureOf(decoderOf("#!/bin/sh\nexec 0</dev/null\nexit 3\n")),
            "the program that decodes pictures could not decode this one");
}

TEST_F(ImageDecoderTest, ItGetsAllTheDataAndThenTheEnd) {
  picture.assign(std::size_t{3} << 20, 7);
  std::string why;
  const auto bitmap = pythonDecoder(
                          "import hashlib\n"
                          "data = sys.stdin.buffer.read()\n"
                          "good = data == bytes([7]) * (3 << 20) and sys.argv[2] == "
                          "str(3 << 20) and sys.argv[1] == '-'\n"
                          "put(head() + (b'yes' if good else b'no '))")
                          .decode(picture, why);
  ASSERT_TRUE(bitmap) << why;
  EXPECT_EQ(bitmap->pixels, (std::vector<std::uint8_t>{'y', 'e', 's'}));
}

TEST_F(ImageDecoderTest, ItHasNothingButItsThreeDescriptorsAndAFewVariables) {
  const std::ofstream kept(std::filesystem::path(folder.path()) /
                           "kept");  // another one that it does not get
  setenv("KORVANE_SECRET", "secret", 1);
  std::string why;
  const auto bitmap =
      pythonDecoder(
          "fds = sorted(int(fd) for fd in os.listdir('/proc/self/fd'))\n"
          "known = {'LC_ALL', 'GIO_USE_VFS', 'GIO_MODULE_DIR', 'HOME', 'XDG_DATA_HOME',\n"
          "         'XDG_CONFIG_HOME', 'XDG_CACHE_HOME', 'ASAN_OPTIONS', 'TSAN_OPTIONS',\n"
          "         'UBSAN_OPTIONS', 'GLIBC_TUNABLES', 'LC_CTYPE'}\n"
          "good = fds[:3] == [0, 1, 2] and len(fds) == 4 and set(os.environ) <= known\n"
          "put(head() + (b'yes' if good else b'no '))")
          .decode(picture, why);
  unsetenv("KORVANE_SECRET");
  ASSERT_TRUE(bitmap) << why;
  EXPECT_EQ(bitmap->pixels, (std::vector<std::uint8_t>{'y', 'e', 's'}));
}

TEST_F(ImageDecoderTest, OneThatTakesTooLongIsEnded) {
  ImageDecoder decoder = decoderOf("#!/bin/sh\necho $$ > \"$0.pid\"\nexec sleep 600\n");
  decoder.patience = std::chrono::milliseconds(1500);
  EXPECT_EQ(failureOf(decoder), "decoding the picture takes too long");
  std::ifstream in(std::filesystem::path(folder.path()) / "decoder.pid");
  std::string number;
  if (in >> number) EXPECT_FALSE(std::filesystem::exists("/proc/" + number));
}

TEST_F(ImageDecoderTest, ThreadsDecodeSideBySide) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int i = 0; i < 5; ++i) {
        std::string why;
        EXPECT_TRUE(ImageDecoder{.patience = kPatience}.decode(picture, why)) << why;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(ImageDecoderTest, AKernelWithoutLandlockGivesTheSamePixels) {
  const ImageDecoder without{KORVANE_BINARY_DIR "/tests/without-landlock", kPatience};
  for (const char* name :
       {"corners.png", "corners-6.jpg", "corners.gif", "corners.tiff", "corners.bmp", "corners.ico",
        "corners.webp", "corners.svg", "text.svg", "corners.tga", "corners.ppm"}) {
#ifdef __SANITIZE_THREAD__
    // Without Landlock the thread sanitizer cannot look for the library of drawings, and stops.
    if (std::string_view(name).ends_with(".svg")) continue;
#endif
    const NSData data = file(name);
    std::string why;
    const auto expected = ImageDecoder{.patience = kPatience}.decode(data, why);
    ASSERT_TRUE(expected) << name << ": " << why;
    const auto bitmap = without.decode(data, why);
    ASSERT_TRUE(bitmap) << name << ": " << why;
    EXPECT_EQ(*bitmap, *expected) << name;
  }
}

}  // namespace
}  // namespace korvane
