#include "linux/detail/FileCopy.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <atomic>
#include <set>
#include <thread>

#include "linux/detail/FileManager.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::inChild;
using testing::inChildAsOrdinaryUser;
using testing::modeOf;
using testing::TemporaryFolder;

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

TEST_F(FileCopyTest, CopiesFoldersWithTheFilesThatTheirLinksLeadTo) {
  folder.file("tree/a/b/file", "file");
  folder.file("tree/run.sh", "#!");
  folder.folder("tree/empty");
  fs::permissions(folder.path("tree/run.sh"), fs::perms::all);
  fs::create_symlink("../run.sh", folder.path("tree/a/relative"));
  fs::create_symlink(folder.path("tree/run.sh"), folder.path("tree/a/b/absolute"));
  fs::create_symlink("a/relative", folder.path("tree/to a link"));
  fs::create_symlink("../tree/run.sh", folder.path("tree/out and in"));
  fs::create_symlink("tree", folder.path("to tree"));
  for (const char* name : {"to tree", "tree"}) {  // a link that was chosen itself is followed
    const std::string copied = out + "/" + name;
    ASSERT_TRUE(copy(folder.path(name), copied)) << error->description();
    EXPECT_EQ(contentOf(copied + "/a/b/file"), "file");
    for (const char* link : {"a/relative", "a/b/absolute", "to a link", "out and in"}) {
      EXPECT_EQ(contentOf(copied + "/" + link), "#!") << link;
    }
    std::size_t count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(copied)) {
      EXPECT_FALSE(entry.is_symlink()) << entry.path();
      EXPECT_EQ(modeOf(entry.path().string()), entry.is_directory() ? 0700U : 0600U)
          << entry.path();
      ++count;
    }
    EXPECT_EQ(count, 9U);
  }
}

TEST_F(FileCopyTest, LinksThatLeadOutOrToFoldersAreNotFollowed) {
  folder.file("secret", "secret");
  folder.file("tree2/secret", "secret");  // begins as the folder's own path does
  folder.file("tree/sub/file", "x");
  const std::pair<const char*, std::string> rows[] = {
      {"../secret", "leads out"},
      {"../tree2/secret", "leads out"},
      {"/proc/self/environ", "leads out"},
      {"/proc/self/fd/0", "leads out"},
      {"/etc", "leads out"},
      {"/", "leads out"},
      {"..", "leads out"},
      {".", ""},
      {"sub", "to a folder"},
      {"sub/..", ""},
  };
  for (const auto& [target, text] : rows) {
    fs::create_symlink(target, folder.path("tree/link"));
    expectRefusal(folder.path("tree"), ELOOP, folder.path("tree/link"));
    EXPECT_NE(error->localizedDescription.find(text), std::string::npos) << error->description();
    fs::remove(folder.path("tree/link"));
  }
  // By way of a folder that is a link itself.
  fs::create_symlink("..", folder.path("tree/sub/up"));
  fs::create_symlink("sub/up/../secret", folder.path("tree/link"));
  expectRefusal(folder.path("tree"), ELOOP, folder.path("tree/link"));
}

/// Consents where it is told to, and remembers what it was asked.
struct Consent : NSFileManagerDelegate {
  bool fileManager(NSFileManager&, const NSError& shouldProceedAfterError,
                   std::string_view copyingItemAtPath, std::string_view toPath) override {
    asked.push_back({std::string(copyingItemAtPath), std::string(toPath),
                     static_cast<int>(shouldProceedAfterError.code)});
    return !refused.contains(static_cast<int>(shouldProceedAfterError.code));
  }
  struct Question {
    std::string from;
    std::string to;
    int code;
    friend bool operator==(const Question&, const Question&) = default;
  };
  std::vector<Question> asked;
  std::set<int> refused;
};

TEST_F(FileCopyTest, WithTheDelegatesConsentABadEntryIsLeftOutAndTheRestCopied) {
  folder.file("secret", "secret");
  folder.file("tree/a/good", "1");
  folder.file("tree/z/good", "2");
  ASSERT_EQ(::mkfifo(folder.path("tree/fifo").c_str(), 0600), 0);
  fs::create_symlink("nowhere", folder.path("tree/dangling"));
  fs::create_symlink("../../secret", folder.path("tree/a/out"));
  fs::create_symlink("a", folder.path("tree/to folder"));
  const auto consent = std::make_shared<Consent>();
  files.setDelegate(consent);
  ASSERT_TRUE(copy(folder.path("tree//"), out + "/copy")) << error->description();
  EXPECT_FALSE(error);
  const auto question = [&](const std::string& relative, int code) {
    return Consent::Question{folder.path("tree/" + relative), out + "/copy/" + relative, code};
  };
  EXPECT_EQ(consent->asked,
            (std::vector{question("a/out", ELOOP), question("dangling", ENOENT),
                         question("fifo", EOPNOTSUPP), question("to folder", ELOOP)}));
  std::set<std::string> copied;
  for (const auto& entry : fs::recursive_directory_iterator(out + "/copy")) {
    copied.insert(entry.path().lexically_relative(out + "/copy"));
  }
  EXPECT_EQ(copied, (std::set<std::string>{"a", "a/good", "z", "z/good"}));

  consent->refused = {EOPNOTSUPP};
  fs::remove_all(out + "/copy");
  expectRefusal(folder.path("tree"), EOPNOTSUPP, folder.path("tree/fifo"));
  files.setDelegate(nullptr);
  expectRefusal(folder.path("tree"), ELOOP, folder.path("tree/a/out"));
}

TEST_F(FileCopyTest, TheDelegateIsNotAskedAboutTheItemItself) {
  const auto consent = std::make_shared<Consent>();
  files.setDelegate(consent);
  ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
  fs::create_symlink("nowhere", folder.path("dangling"));
  expectRefusal(folder.path("fifo"), EOPNOTSUPP, folder.path("fifo"));
  expectRefusal(folder.path("dangling"), ENOENT, folder.path("dangling"));
  EXPECT_TRUE(consent->asked.empty());
}

TEST_F(FileCopyTest, UnreadableEntriesAreLeftOutWithConsent) {
  fs::permissions(folder.path(), fs::perms::all);
  fs::permissions(out, fs::perms::all);
  const auto consent = std::make_shared<Consent>();
  files.setDelegate(consent);
  EXPECT_EQ(inChildAsOrdinaryUser([&] {
              fs::create_directories(folder.path("tree/closed folder"));
              std::ofstream(folder.path("tree/closed")) << "x";
              std::ofstream(folder.path("tree/open")) << "open";
              fs::permissions(folder.path("tree/closed"), fs::perms::none);
              fs::permissions(folder.path("tree/closed folder"), fs::perms::none);
              return copy(folder.path("tree"), out + "/copy") && consent->asked.size() == 2 &&
                     contentOf(out + "/copy/open") == "open" && !fs::exists(out + "/copy/closed") &&
                     !fs::exists(out + "/copy/closed folder") &&
                     !copy(folder.path("tree/closed folder"), out + "/second") &&
                     error->code == EACCES && consent->asked.size() == 2;
            }),
            0);
}

TEST_F(FileCopyTest, AFolderThatHoldsTheTargetIsCopiedWithoutItByConsent) {
  const auto consent = std::make_shared<Consent>();
  files.setDelegate(consent);
  folder.file("tree/file", "x");
  folder.file("tree/sub/file", "y");
  ASSERT_TRUE(copy(folder.path("tree"), folder.path("tree/sub/copy"))) << error->description();
  EXPECT_EQ(consent->asked.size(), 1U);
  EXPECT_EQ(contentOf(folder.path("tree/sub/copy/sub/file")), "y");
  EXPECT_FALSE(fs::exists(folder.path("tree/sub/copy/sub/copy")));
}

TEST_F(FileCopyTest, AFolderThatHoldsTooMuchIsRefusedAtOnce) {
  for (int i = 0; i < 998; ++i) folder.file("tree/sub/" + std::to_string(i));
  fs::create_symlink("nowhere", folder.path("tree/dangling"));
  const auto consent = std::make_shared<Consent>();
  files.setDelegate(consent);
  ASSERT_TRUE(copy(folder.path("tree"), out + "/copy")) << error->description();  // 1,000
  fs::remove_all(out + "/copy");
  consent->asked.clear();
  folder.file("tree/one more");
  expectRefusal(folder.path("tree"), E2BIG, folder.path("tree"));
  EXPECT_EQ(error->localizedDescription,
            folder.path("tree") + ": holds more than 1000 files and folders");
  EXPECT_TRUE(consent->asked.empty());
  EXPECT_EQ(FileManagerOptions().maxEntries, 100'000U);
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
  for (int i = 0; i < 5; ++i) {
    const std::string target = out + "/" + std::to_string(i);
    if (copy(source, target)) {
      EXPECT_TRUE(contentOf(target).starts_with("begin"));
    } else {
      EXPECT_EQ(error->code, EBUSY) << error->description();
      EXPECT_FALSE(fs::exists(target));
    }
  }
  stop = true;
  writer.join();
  EXPECT_TRUE(copy(source, out + "/last")) << error->description();
}

TEST_F(FileCopyTest, AFileThatChangedSinceItWasOpenedIsCopiedAgain) {
  const std::string source = folder.file("source", "0123456789");
  using Change = void (*)(struct stat&);
  // What the file was when it was opened; a first copy goes by that.
  for (const Change change : {+[](struct stat& status) { status.st_size = 4; },
                              +[](struct stat& status) { status.st_size = 0; },
                              +[](struct stat& status) { status.st_size = 5000; },
                              +[](struct stat& status) { --status.st_mtim.tv_sec; },
                              +[](struct stat& status) { status.st_mtim.tv_nsec ^= 1; }}) {
    OpenedItem item;
    item.descriptor = FileDescriptor(::open(source.c_str(), O_RDONLY));
    ASSERT_EQ(::fstat(item.descriptor.get(), &item.status), 0);
    change(item.status);
    const FileDescriptor target(::open((out + "/copy").c_str(), O_CREAT | O_TRUNC | O_RDWR, 0600));
    copyContent(item, target.get(), source);
    EXPECT_EQ(contentOf(out + "/copy"), "0123456789");
  }
}

/// Gives a file the time of its last change.
void setChange(const std::string& path, timespec time) {
  const timespec times[2] = {{0, UTIME_OMIT}, time};
  EXPECT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

class FreshFileTest : public FileCopyTest {
 protected:
  /// The source was changed so many seconds ago, by the clock that the copy goes by.
  void changed(double seconds) {
    const timespec change = {1'700'000'000, 0};
    setChange(source, change);
    platform.clock = std::make_shared<testing::FakeClock>(NSDate{1'700'000'000 + seconds});
    platform.services.clock = platform.clock;
    platform.install();
  }

  testing::TestPlatform platform;
  const std::string source = folder.file("source", "AAAAA");
};

TEST_F(FreshFileTest, AWriteThatGoesOnIsWaitedFor) {
  changed(0.001);
  platform.clock->onSleep = [&] {
    folder.file("source", "BBBBB");
    setChange(source, {1'700'000'000, 0});  // noted as it began
  };
  ASSERT_TRUE(copy(source, out + "/copy")) << error->description();
  EXPECT_EQ(contentOf(out + "/copy"), "BBBBB");
}

TEST_F(FreshFileTest, WritesWithoutAPauseAreTold) {
  changed(0.001);
  std::size_t writes = 0;
  platform.clock->onSleep = [&] {
    const double now = platform.clock->now().timeIntervalSince1970;
    const auto second = static_cast<time_t>(now);
    setChange(source, {second, static_cast<long>((now - static_cast<double>(second)) * 1e9)});
    ++writes;
  };
  EXPECT_FALSE(copy(source, out + "/copy"));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, EBUSY) << error->description();
  EXPECT_TRUE(fs::is_empty(out));
  EXPECT_EQ(writes, 4U);
  EXPECT_LT(platform.clock->now().timeIntervalSince1970, 1'700'000'000.5);
}

TEST_F(FreshFileTest, NothingIsWaitedForWithoutNeed) {
  for (const double seconds : {0.021, 1.0, -0.001, -1000.0}) {
    changed(seconds);
    ASSERT_TRUE(copy(source, out + "/copy")) << error->description();
    fs::remove(out + "/copy");
    EXPECT_TRUE(platform.clock->sleeps().empty()) << seconds;
  }
}

TEST_F(FileCopyTest, AFileThatIsChangedOverAndOverIsTold) {
  const std::string source = folder.file("source", pattern(16'000'000));
  std::atomic<bool> stop = false;
  std::thread changer([&] {
    const FileDescriptor file(::open(source.c_str(), O_RDWR));
    for (long second = 1; !stop; ++second) {
      const timespec times[2] = {{0, UTIME_OMIT}, {second, 0}};
      ::futimens(file.get(), times);
    }
  });
  bool told = false;
  for (int i = 0; i < 100 && !told; ++i) {
    told = !copy(source, out + "/copy");
    fs::remove(out + "/copy");
  }
  stop = true;
  changer.join();
  ASSERT_TRUE(told);
  EXPECT_EQ(error->code, EBUSY) << error->description();
  EXPECT_TRUE(fs::is_empty(out));
}

TEST_F(FileCopyTest, AFolderThatChangesIsCopiedWholeOrNotAtAll) {
  for (int i = 0; i < 10; ++i) folder.file("tree/" + std::to_string(i), "content");
  std::atomic<bool> stop = false;
  std::thread changer([&] {
    for (int i = 0; !stop; i = (i + 7) % 10) {
      const std::string path = folder.path("tree/" + std::to_string(i));
      fs::remove(path);
      std::ofstream(path) << "content";
    }
  });
  int copied = 0;
  int refused = 0;
  for (int i = 0; i < 30; ++i) {
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
  EXPECT_EQ(copied + refused, 30);
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
