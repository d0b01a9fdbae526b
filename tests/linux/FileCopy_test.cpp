#include "linux/detail/FileCopy.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <atomic>
#include <thread>

#include "linux/detail/FileManager.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::inChild;
using testing::inChildAsOrdinaryUser;
using testing::TemporaryFolder;

unsigned modeOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

/// Bytes that never repeat within a file's blocks.
std::string pattern(std::size_t size) {
  std::string text(size, '\0');
  std::uint32_t state = 1;
  for (char& byte : text) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<char>(state >> 24);
  }
  return text;
}

/// Gives the process mounts of its own, which an ordinary user gets by being root among himself.
bool enterOwnNamespaces() {
  const std::string user = std::to_string(::geteuid());
  const std::string group = std::to_string(::getegid());
  if (user == "0") return ::unshare(CLONE_NEWNS) == 0;
  if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  const auto write = [](const char* path, const std::string& text) {
    return static_cast<bool>((std::ofstream(path) << text).flush());
  };
  return write("/proc/self/uid_map", user + " " + user + " 1") &&
         write("/proc/self/setgroups", "deny") &&
         write("/proc/self/gid_map", group + " " + group + " 1");
}

class FileCopyTest : public ::testing::Test {
 protected:
  bool copy(const std::string& from, const std::string& to) {
    error.reset();
    return files.copyItemAtPath(from, to, error);
  }
  /// Copies to "out/copy" and expects failure with the code and the path, and nothing left.
  void expectRefusal(const std::string& from, int code, const std::string& path) {
    EXPECT_FALSE(copy(from, out + "/copy")) << from;
    ASSERT_TRUE(error) << from;
    EXPECT_EQ(error->code, code) << error->description();
    EXPECT_TRUE(error->localizedDescription.starts_with(path + ": ")) << error->description();
    EXPECT_TRUE(fs::is_empty(out)) << from;
  }

  TemporaryFolder folder;
  FileManager files{{ContainerRoot(folder.path("container")), 1000}};
  std::string out = folder.folder("out");
  std::optional<NSError> error;
};

TEST_F(FileCopyTest, CopiesFilesOfAllSizes) {
  for (const std::size_t size : {0U, 1U, 511U, 512U, 4096U, 4097U, 262144U, 262145U, 5000000U}) {
    const std::string content = pattern(size);
    const std::string source = folder.file("source", content);
    fs::permissions(source, fs::perms::all);
    const std::string target = out + "/" + std::to_string(size);
    ASSERT_TRUE(copy(source, target)) << error->description();
    EXPECT_EQ(contentOf(target), content);
    EXPECT_EQ(modeOf(target), 0600U);
  }
}

TEST_F(FileCopyTest, HolesStayHoles) {
  constexpr off_t kSize = off_t{1} << 33;
  const std::string source = folder.path("sparse");
  {
    const FileDescriptor file(::open(source.c_str(), O_CREAT | O_WRONLY, 0600));
    ASSERT_EQ(::ftruncate(file.get(), kSize), 0);
    ASSERT_EQ(::pwrite(file.get(), "middle", 6, kSize / 2), 6);
  }
  ASSERT_TRUE(copy(source, out + "/copy")) << error->description();
  struct stat status = {};
  ASSERT_EQ(::stat((out + "/copy").c_str(), &status), 0);
  EXPECT_EQ(status.st_size, kSize);
  EXPECT_LT(status.st_blocks, 2048);
  const FileDescriptor file(::open((out + "/copy").c_str(), O_RDONLY));
  char middle[6] = {};
  ASSERT_EQ(::pread(file.get(), middle, 6, kSize / 2), 6);
  EXPECT_EQ(std::string(middle, 6), "middle");

  const std::string empty = folder.path("hole");
  folder.file("hole");
  fs::resize_file(empty, 1 << 20);
  ASSERT_TRUE(copy(empty, out + "/hole"));
  EXPECT_EQ(contentOf(out + "/hole"), std::string(1 << 20, '\0'));
}

TEST_F(FileCopyTest, CopiesFilesWhoseSizeIsNotKnown) {
  ASSERT_TRUE(copy("/proc/version", out + "/version")) << error->description();
  EXPECT_EQ(contentOf(out + "/version"), contentOf("/proc/version"));
  const std::string page = "/sys/kernel/mm/transparent_hugepage/enabled";
  if (fs::exists(page)) {  // calls itself 4096 bytes long
    ASSERT_TRUE(copy(page, out + "/page")) << error->description();
    EXPECT_EQ(contentOf(out + "/page"), contentOf(page));
  }
}

TEST_F(FileCopyTest, CopiesBetweenFileSystems) {
  struct stat here = {};
  struct stat there = {};
  if (::stat("/dev/shm", &there) != 0 || ::access("/dev/shm", W_OK) != 0 ||
      ::stat(out.c_str(), &here) != 0 || here.st_dev == there.st_dev) {
    GTEST_SKIP() << "there is no second file system to write to";
  }
  const std::string source = "/dev/shm/korvane-test-" + std::to_string(::getpid());
  std::ofstream(source) << pattern(3'000'000);
  EXPECT_TRUE(copy(source, out + "/copy")) << error->description();
  EXPECT_EQ(contentOf(out + "/copy"), pattern(3'000'000));
  fs::remove(source);
}

TEST_F(FileCopyTest, NeverReplacesAnything) {
  const std::string source = folder.file("source", "new");
  folder.file("existing", "old");
  fs::create_symlink("nowhere", folder.path("dangling"));
  folder.folder("empty");
  for (const char* name : {"existing", "dangling", "empty", "source"}) {
    EXPECT_FALSE(copy(source, folder.path(name))) << name;
    EXPECT_EQ(error->code, EEXIST) << name;
    EXPECT_FALSE(copy(folder.folder("folder"), folder.path(name))) << name;
    EXPECT_EQ(error->code, EEXIST) << name;
  }
  EXPECT_EQ(contentOf(folder.path("existing")), "old");
}

TEST_F(FileCopyTest, RefusesWhatIsNoFileAtOnce) {
  ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
  fs::create_symlink("fifo", folder.path("link to fifo"));
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  folder.path("socket").copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  for (const char* name : {"fifo", "link to fifo", "socket"}) {
    expectRefusal(folder.path(name), EOPNOTSUPP, folder.path(name));
  }
  for (const char* device : {"/dev/null", "/dev/zero", "/dev/tty"}) {
    expectRefusal(device, EOPNOTSUPP, device);
  }
}

TEST_F(FileCopyTest, ReportsWhatIsMissing) {
  expectRefusal(folder.path("missing"), ENOENT, folder.path("missing"));
  expectRefusal(folder.file("file") + "/x", ENOTDIR, folder.path("file"));
  fs::create_symlink("nowhere", folder.path("dangling"));
  expectRefusal(folder.path("dangling"), ENOENT, folder.path("dangling"));
  fs::create_symlink("loop", folder.path("loop"));
  expectRefusal(folder.path("loop"), ELOOP, folder.path("loop"));
  EXPECT_FALSE(copy(folder.file("source"), folder.path("no/folder")));
  EXPECT_EQ(error->code, ENOENT);
  EXPECT_FALSE(copy(folder.path("source"), out + "/" + std::string(256, 'n')));
  EXPECT_EQ(error->code, ENAMETOOLONG);
  EXPECT_FALSE(copy("", out + "/copy"));
  EXPECT_EQ(error->code, ENOENT);
  EXPECT_FALSE(copy(std::string("/a\0b", 4), out + "/copy"));
  EXPECT_EQ(error->code, EINVAL);
  EXPECT_TRUE(fs::is_empty(out));
}

TEST_F(FileCopyTest, KeepsNamesOfAnyBytes) {
  for (const std::string& name :
       {std::string("caf\xE9"), std::string("--"), std::string("-rf"), std::string("a\nb"),
        std::string(255, 'n'), std::string("..."), std::string("a;b=c&d%41?#")}) {
    const std::string source = folder.file("names/" + name, name);
    ASSERT_TRUE(copy(source, out + "/" + name)) << error->description();
    EXPECT_EQ(contentOf(out + "/" + name), name);
  }
  ASSERT_TRUE(copy(folder.path("names"), out + "/names")) << error->description();
  EXPECT_EQ(contentOf(out + "/names/caf\xE9"), "caf\xE9");
}

TEST_F(FileCopyTest, CopiesFoldersWithLinksAsWhatTheyLeadTo) {
  folder.file("elsewhere/file", "elsewhere");
  folder.file("elsewhere/sub/deep", "deep");
  folder.file("tree/a/b/file", "file");
  folder.file("tree/run.sh", "#!");
  folder.folder("tree/empty");
  fs::permissions(folder.path("tree/run.sh"), fs::perms::all);
  fs::create_symlink(folder.path("elsewhere/file"), folder.path("tree/to file"));
  fs::create_symlink("../../elsewhere", folder.path("tree/a/to folder"));
  fs::create_symlink("b", folder.path("tree/a/to b"));
  fs::create_symlink("tree", folder.path("to tree"));
  ASSERT_TRUE(copy(folder.path("to tree"), out + "/copy")) << error->description();

  EXPECT_EQ(contentOf(out + "/copy/a/b/file"), "file");
  EXPECT_EQ(contentOf(out + "/copy/a/to b/file"), "file");
  EXPECT_EQ(contentOf(out + "/copy/a/to folder/sub/deep"), "deep");
  EXPECT_EQ(contentOf(out + "/copy/to file"), "elsewhere");
  std::size_t count = 0;
  for (const auto& entry : fs::recursive_directory_iterator(out)) {
    EXPECT_FALSE(entry.is_symlink()) << entry.path();
    EXPECT_EQ(modeOf(entry.path().string()), entry.is_directory() ? 0700U : 0600U) << entry.path();
    ++count;
  }
  EXPECT_EQ(count, 13U);
}

TEST_F(FileCopyTest, OneBadEntryFailsTheWholeFolder) {
  folder.file("tree/a/good", "x");
  folder.file("tree/z/good", "x");
  ASSERT_EQ(::mkfifo(folder.path("tree/m").c_str(), 0600), 0);
  expectRefusal(folder.path("tree"), EOPNOTSUPP, folder.path("tree/m"));
  fs::remove(folder.path("tree/m"));
  fs::create_symlink("nowhere", folder.path("tree/z/dangling"));
  expectRefusal(folder.path("tree"), ENOENT, folder.path("tree/z/dangling"));
}

TEST_F(FileCopyTest, AnUnreadableEntryFailsTheWholeFolder) {
  fs::permissions(folder.path(), fs::perms::all);
  fs::permissions(out, fs::perms::all);
  EXPECT_EQ(inChildAsOrdinaryUser([&] {
              fs::create_directories(folder.path("tree/sub"));
              std::ofstream(folder.path("tree/sub/closed")) << "x";
              fs::permissions(folder.path("tree/sub/closed"), fs::perms::none);
              for (const char* path : {"tree", "tree/sub/closed"}) {
                if (copy(folder.path(path), out + "/copy") || error->code != EACCES ||
                    !error->localizedDescription.starts_with(folder.path("tree/sub/closed: "))) {
                  return false;
                }
              }
              return fs::is_empty(out);
            }),
            0);
}

TEST_F(FileCopyTest, FindsFoldersThatContainThemselves) {
  folder.file("tree/a/file", "x");
  fs::create_symlink("..", folder.path("tree/a/up"));
  expectRefusal(folder.path("tree"), ELOOP, folder.path("tree/a/up"));
  fs::remove(folder.path("tree/a/up"));
  fs::create_symlink(".", folder.path("tree/a/self"));
  expectRefusal(folder.path("tree"), ELOOP, folder.path("tree/a/self"));
}

TEST_F(FileCopyTest, AFolderDoesNotGoIntoItself) {
  folder.file("tree/file", "x");
  for (const char* target : {"tree/copy", "tree/sub/copy"}) {
    folder.folder("tree/sub");
    EXPECT_FALSE(copy(folder.path("tree"), folder.path(target)));
    EXPECT_EQ(error->code, EINVAL) << error->description();
  }
  EXPECT_TRUE(fs::is_empty(folder.path("tree/sub")));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.path("tree")), fs::directory_iterator()),
            2);
}

TEST_F(FileCopyTest, LinksThatMultiplyAreBounded) {
  // Ten links to the next folder in each: 10^8 files, and no folder inside itself.
  for (int level = 0; level < 8; ++level) {
    const std::string here = "level" + std::to_string(level);
    folder.folder(here);
    for (int link = 0; link < 10; ++link) {
      fs::create_symlink("../level" + std::to_string(level + 1),
                         folder.path(here + "/" + std::to_string(link)));
    }
  }
  folder.file("level8/file", "x");
  EXPECT_FALSE(copy(folder.path("level0"), out + "/copy"));
  EXPECT_EQ(error->code, E2BIG) << error->description();
  EXPECT_TRUE(fs::is_empty(out));

  for (int i = 0; i < 60; ++i) {
    folder.folder("chain" + std::to_string(i));
    fs::create_symlink("../chain" + std::to_string(i + 1),
                       folder.path("chain" + std::to_string(i) + "/next"));
  }
  folder.folder("chain60");
  EXPECT_FALSE(copy(folder.path("chain0"), out + "/copy"));
  EXPECT_EQ(error->code, ELOOP) << error->description();
  EXPECT_TRUE(copy(folder.path("chain30"), out + "/copy")) << error->description();
}

TEST_F(FileCopyTest, CopiesDeepFoldersWithFewDescriptors) {
  EXPECT_EQ(inChild([&] {
              if (!testing::setLimit(RLIMIT_NOFILE, 100)) return false;
              fs::current_path(folder.folder("deep"));
              const std::string name(30, 'd');  // 300 of them are longer than a path may be
              for (int i = 0; i < 300; ++i) {
                if (::mkdir(name.c_str(), 0700) != 0 || ::chdir(name.c_str()) != 0) return false;
              }
              std::ofstream("bottom") << "reached";
              if (!copy(folder.path("deep"), out + "/copy")) return false;
              fs::current_path(out + "/copy");
              for (int i = 0; i < 300; ++i) fs::current_path(name);
              const bool reached = contentOf("bottom") == "reached";
              fs::current_path("/");
              std::optional<NSError> ignored;
              return reached &&
                     files.removeItemAtURL(NSURL::fileURLWithPath(out + "/copy"), ignored) &&
                     files.removeItemAtURL(NSURL::fileURLWithPath(folder.path("deep")), ignored);
            }),
            0);
}

TEST_F(FileCopyTest, AFileThatGrowsEnds) {
  const std::string source = folder.file("log", "begin");
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    std::ofstream log(source, std::ios::app);
    const std::string more(4096, 'x');
    for (int i = 0; i < 20000 && !stop; ++i) log << more << std::flush;
  });
  for (int i = 0; i < 20; ++i) {
    const std::string target = out + "/" + std::to_string(i);
    EXPECT_TRUE(copy(source, target)) << error->description();
    EXPECT_TRUE(contentOf(target).starts_with("begin"));
  }
  stop = true;
  writer.join();
}

TEST_F(FileCopyTest, AFolderThatChangesIsCopiedWholeOrNotAtAll) {
  for (int i = 0; i < 30; ++i) folder.file("tree/" + std::to_string(i), "content");
  std::atomic<bool> stop = false;
  std::thread changer([&] {
    for (int i = 0; !stop; i = (i + 7) % 30) {
      const std::string path = folder.path("tree/" + std::to_string(i));
      fs::remove(path);
      std::ofstream(path) << "content";
    }
  });
  int copied = 0;
  int refused = 0;
  for (int i = 0; i < 300; ++i) {
    const std::string target = out + "/copy";
    if (copy(folder.path("tree"), target)) {
      ++copied;
      std::optional<NSError> ignored;
      ASSERT_TRUE(files.removeItemAtURL(NSURL::fileURLWithPath(target), ignored));
    } else {
      ++refused;
      EXPECT_EQ(error->code, ENOENT) << error->description();
    }
    ASSERT_TRUE(fs::is_empty(out));
  }
  stop = true;
  changer.join();
  EXPECT_EQ(copied + refused, 300);
}

TEST_F(FileCopyTest, AFileThatOutgrowsALimitLeavesNothing) {
  folder.file("tree/a small one", "x");
  folder.file("tree/big", pattern(100'000));
  EXPECT_EQ(inChild([&] {
              ::signal(SIGXFSZ, SIG_IGN);
              if (!testing::setLimit(RLIMIT_FSIZE, 50'000)) return false;
              for (const char* name : {"tree/big", "tree"}) {
                if (copy(folder.path(name), out + "/copy") || error->code != EFBIG) return false;
              }
              return fs::is_empty(out);
            }),
            0);
}

TEST_F(FileCopyTest, AFullDiskLeavesNothing) {
  folder.file("tree/a small one", "x");
  folder.file("tree/big", pattern(3'000'000));
  constexpr int kNoMount = 3;
  const int status = inChild([&] {
    if (!enterOwnNamespaces() || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("tmpfs", out.c_str(), "tmpfs", 0, "size=1m") != 0) {
      ::_exit(kNoMount);
    }
    for (const char* name : {"tree/big", "tree"}) {
      if (copy(folder.path(name), out + "/copy") || error->code != ENOSPC) return false;
    }
    NSData data(3'000'000);
    return !files.writeDataAtomically(data, out + "/copy", error) && error->code == ENOSPC &&
           fs::is_empty(out);
  });
  if (status == kNoMount) {
    GTEST_SKIP() << "this user cannot mount a small disk; the limit on a file's size is tested";
  }
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace korvane
