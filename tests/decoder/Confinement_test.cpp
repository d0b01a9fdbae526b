#include "decoder/Confinement.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

// What a process that does this ends with, as waitpid() tells it.
int endOf(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child == 0) _exit(work());
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

// The kernel of a process that called this has no Landlock.
void forgetLandlock() {
  scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
  seccomp_rule_add(filter, SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(landlock_create_ruleset), 0);
  if (seccomp_load(filter) != 0) _exit(99);
}

// 0 where the file can be opened, else the error.
int opening(const std::string& path, int flags = O_RDONLY) {
  const int file = open(path.c_str(), flags | O_CLOEXEC, 0600);
  return file >= 0 ? 0 : errno;
}

int exited(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : -1; }

bool hasLandlock() { return syscall(SYS_landlock_create_ruleset, nullptr, 0, 1) >= 1; }

class Confinement : public ::testing::Test {
 protected:
  Confinement() {
    std::filesystem::create_directories(home / ".local/share/fonts");
    std::ofstream(home / ".local/share/fonts/a.ttf") << "font";
    std::ofstream(home / "secret") << "secret";
    setenv("HOME", home.c_str(), 1);
    unsetenv("XDG_DATA_HOME");
  }

  // In a process that is confined all the way.
  int endOfConfined(const std::function<int()>& work) const {
    return endOf([&] {
      limitProcess();
      confineCalls(confineFiles());
      return work();
    });
  }

  testing::TemporaryFolder folder;
  const std::filesystem::path home{folder.path()};
};

TEST_F(Confinement, LimitsAreSetBeforeAnythingElse) {
  const int status = endOf([] {
    limitProcess();
    const auto is = [](__rlimit_resource resource, rlim_t bound) {
      rlimit now{};
      return getrlimit(resource, &now) == 0 && now.rlim_cur == bound && now.rlim_max == bound;
    };
    if (prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) != 1) return 1;
    if (prctl(PR_GET_DUMPABLE) != 0) return 2;
    if (!is(RLIMIT_CORE, 0)) return 3;
    if (!kSanitized && !is(RLIMIT_AS, kDecoderMemory)) return 4;
    if (!kSanitized && !is(RLIMIT_CPU, kDecoderSeconds)) return 5;
    int death = 0;
    if (prctl(PR_GET_PDEATHSIG, &death) != 0 || death != SIGKILL) return 6;
    return 0;
  });
  EXPECT_EQ(exited(status), 0);
}

TEST_F(Confinement, LowerLimitsStay) {
  EXPECT_EQ(exited(endOf([] {
              const rlimit low{1000, 2000};
              setrlimit(RLIMIT_FSIZE, &low);
              limitProcess();
              rlimit now{};
              getrlimit(RLIMIT_FSIZE, &now);
              return now.rlim_cur == 1000 && now.rlim_max == 2000 ? 0 : 1;
            })),
            0);
}

TEST_F(Confinement, FilesAreReadWhereSystemAndFontsAre) {
  if (!hasLandlock()) GTEST_SKIP() << "this kernel has no Landlock";
  const std::string secret = home / "secret";
  const std::string font = home / ".local/share/fonts/a.ttf";
  EXPECT_EQ(exited(endOfConfined([&] { return opening(font); })), 0);
  EXPECT_EQ(exited(endOfConfined([] { return opening("/usr/share"); })), 0);
  for (const std::string& path :
       {secret, home.string(), std::string("/etc/passwd"), std::string("/proc/self/environ"),
        std::string("/dev/null"), std::string("/")}) {
    EXPECT_EQ(exited(endOfConfined([&] { return opening(path); })), EACCES) << path;
  }
  for (const std::string& path : {font, secret, (home / "new").string(), std::string("/usr/new")}) {
    EXPECT_EQ(exited(endOfConfined([&] { return opening(path, O_WRONLY | O_CREAT); })), EACCES)
        << path;
  }
  EXPECT_FALSE(std::filesystem::exists(home / "new"));
}

TEST_F(Confinement, WithoutLandlockNothingIsOpened) {
  if (kSanitized) GTEST_SKIP() << "sanitizers are not confined in their calls";
  for (const std::string& path : {std::string("/usr/share"), std::string("/etc/passwd"),
                                  (home / ".local/share/fonts/a.ttf").string()}) {
    const int status = endOf([&] {
      forgetLandlock();
      limitProcess();
      if (confineFiles()) return 98;
      confineCalls(false);
      return opening(path);
    });
    EXPECT_EQ(exited(status), EACCES) << path;
  }
}

TEST_F(Confinement, AnyOtherCallEndsTheProcess) {
  if (kSanitized) GTEST_SKIP() << "sanitizers are not confined in their calls";
  const std::vector<std::pair<const char*, std::function<int()>>> calls{
      {"socket", [] { return socket(AF_INET, SOCK_STREAM, 0); }},
      {"fork", [] { return fork(); }},
      {"vfork", [] { return static_cast<int>(syscall(SYS_vfork)); }},
      {"exec", [] { return execl("/usr/bin/true", "true", nullptr); }},
      {"kill", [] { return kill(getppid(), SIGTERM); }},
      {"other thread group", [] { return static_cast<int>(syscall(SYS_tgkill, 1, 1, 0)); }},
      {"ptrace", [] { return static_cast<int>(syscall(SYS_ptrace, 0, 0, 0, 0)); }},
      {"setuid", [] { return setuid(1); }},
      {"chdir", [] { return chdir("/"); }},
      {"pipe",
       [] {
         int ends[2];
         return pipe(ends);
       }},
      {"memfd", [] { return memfd_create("a", 0); }},
      {"seal", [] { return fcntl(1, 1033, 1); }},
      {"limits",
       [] {
         const rlimit all{1, 1};
         return setrlimit(RLIMIT_CORE, &all);
       }},
      {"executable memory",
       [] {
         return mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS,
                     -1, 0) == MAP_FAILED;
       }},
      {"memory made executable",
       [] {
         void* page =
             mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
         return mprotect(page, 4096, PROT_READ | PROT_EXEC);
       }},
      {"io_uring", [] { return static_cast<int>(syscall(425, 1, nullptr)); }},
  };
  for (const auto& [name, call] : calls) {
    const int status = endOfConfined(call);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS) << name << ' ' << status;
  }
}

TEST_F(Confinement, MemoryIsBounded) {
  if (kSanitized) GTEST_SKIP() << "sanitizers need all of the address space";
  EXPECT_EQ(exited(endOfConfined([] {
              void* much = mmap(nullptr, 700'000'000, PROT_READ | PROT_WRITE,
                                MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
              return much == MAP_FAILED ? 0 : 1;
            })),
            0);
}

TEST_F(Confinement, WhatIsWrittenIsBounded) {
  const int file = memfd_create("test", MFD_CLOEXEC);
  EXPECT_EQ(exited(endOf([&] {
              limitProcess();
              signal(SIGXFSZ, SIG_IGN);
              return ftruncate(file, 500'000'000) == 0 ? 0 : errno;
            })),
            EFBIG);
  close(file);
}

}  // namespace
}  // namespace korvane
