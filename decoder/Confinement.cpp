#include "decoder/Confinement.h"

#include <fcntl.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <string>

#include "formats/images/DecodedPicture.h"

namespace korvane {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

void require(bool done) {
  if (!done) _exit(EXIT_FAILURE);
}

// A bound that is lower already stays.
void limit(__rlimit_resource resource, rlim_t bound) {
  rlimit both{};
  require(getrlimit(resource, &both) == 0);
  both.rlim_max = std::min(both.rlim_max, bound);
  both.rlim_cur = std::min(both.rlim_cur, both.rlim_max);
  require(setrlimit(resource, &both) == 0);
}

// Landlock as the kernel declares it; the C library has no functions for it, and its headers are
// often older than the kernel.
struct RulesetAttributes {
  std::uint64_t files;
  std::uint64_t network;  // since version 4
  std::uint64_t scoped;   // since version 6
};
struct __attribute__((packed)) PathRule {
  std::uint64_t allowed;
  std::int32_t folder;
};
constexpr std::uint64_t kReadFile = 1U << 2;
constexpr std::uint64_t kReadFolder = 1U << 3;

void allowReading(int ruleset, const std::string& path) {
  const int folder = open(path.c_str(), O_PATH | O_CLOEXEC | O_DIRECTORY);
  if (folder < 0) return;  // nothing to be read there
  constexpr int kPathBeneath = 1;
  const PathRule rule{kReadFile | kReadFolder, folder};
  require(syscall(SYS_landlock_add_rule, ruleset, kPathBeneath, &rule, 0) == 0);
  close(folder);
}

// The folder that a variable names, else one in the home folder; with "/" and a name behind it.
std::string inHome(const char* variable, const char* otherwise, const char* name) {
  const char* folder = variable != nullptr ? std::getenv(variable) : nullptr;
  if (folder != nullptr && folder[0] == '/') return std::string(folder) + name;
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr && home[0] == '/' ? home : "/nonexistent") + otherwise + name;
}

// The rules for system calls; one that cannot be added ends the process.
class Calls {
 public:
  Calls() : filter_(seccomp_init(SCMP_ACT_KILL_PROCESS)) { require(filter_ != nullptr); }
  ~Calls() { seccomp_release(filter_); }
  Calls(const Calls&) = delete;
  Calls& operator=(const Calls&) = delete;

  void allow(std::initializer_list<int> calls) {
    for (const int call : calls) add(SCMP_ACT_ALLOW, call, {});
  }
  void allow(int call, std::initializer_list<scmp_arg_cmp> arguments) {
    add(SCMP_ACT_ALLOW, call, arguments);
  }
  /// They fail, as they may anyway, and decoding goes on without.
  void refuse(int error, std::initializer_list<int> calls) {
    for (const int call : calls) add(SCMP_ACT_ERRNO(static_cast<std::uint32_t>(error)), call, {});
  }
  void refuse(int error, int call, std::initializer_list<scmp_arg_cmp> arguments) {
    add(SCMP_ACT_ERRNO(static_cast<std::uint32_t>(error)), call, arguments);
  }
  void install() { require(seccomp_load(filter_) == 0); }

 private:
  void add(std::uint32_t action, int call, std::initializer_list<scmp_arg_cmp> arguments) {
    // A call that this processor's kernel does not have is answered by the library itself.
    require(seccomp_rule_add_array(filter_, action, call, static_cast<unsigned>(arguments.size()),
                                   std::data(arguments)) == 0);
  }

  scmp_filter_ctx filter_;
};

}  // namespace

void limitProcess() {
  require(prctl(PR_SET_PDEATHSIG, SIGKILL) == 0);
  require(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0);
  require(prctl(PR_SET_DUMPABLE, 0) == 0);
  limit(RLIMIT_CORE, 0);
  limit(RLIMIT_FSIZE, kMaxDecodedBytes);
  limit(RLIMIT_NOFILE, 64);
  if (kSanitized) return;
  limit(RLIMIT_CPU, kDecoderSeconds);
  limit(RLIMIT_AS, kDecoderMemory);
}

bool confineFiles() {
  constexpr unsigned kAskVersion = 1;
  const long version = syscall(SYS_landlock_create_ruleset, nullptr, 0, kAskVersion);
  if (version < 1) return false;
  // Every right of that version: 13 of the first, then moving, truncating and device control.
  unsigned rights = 13;
  if (version >= 2) ++rights;
  if (version >= 3) ++rights;
  if (version >= 5) ++rights;
  RulesetAttributes attributes{(std::uint64_t{1} << rights) - 1, 0, 0};
  std::size_t size = sizeof attributes.files;
  if (version >= 4) {
    attributes.network = 3;  // listening and connecting
    size += sizeof attributes.network;
  }
  if (version >= 6) {
    attributes.scoped = 3;  // abstract sockets and signals of others
    size += sizeof attributes.scoped;
  }
  const auto ruleset = static_cast<int>(syscall(SYS_landlock_create_ruleset, &attributes, size, 0));
  require(ruleset >= 0);
  // /lib and /lib64 are links into /usr on most systems.
  for (const char* folder : {"/usr", "/lib", "/lib64", "/etc/fonts", "/var/cache/fontconfig"}) {
    allowReading(ruleset, folder);
  }
  allowReading(ruleset, inHome(nullptr, "", "/.fonts"));
  allowReading(ruleset, inHome("XDG_DATA_HOME", "/.local/share", "/fonts"));
  allowReading(ruleset, inHome("XDG_CONFIG_HOME", "/.config", "/fontconfig"));
  allowReading(ruleset, inHome("XDG_CACHE_HOME", "/.cache", "/fontconfig"));
  require(syscall(SYS_landlock_restrict_self, ruleset, 0) == 0);
  close(ruleset);
  return true;
}

void confineCalls(bool mayOpen) {
  if (kSanitized) return;
  Calls calls;
  // What is there already: memory, threads, descriptors, the clock.
  calls.allow({SCMP_SYS(read),
               SCMP_SYS(readv),
               SCMP_SYS(pread64),
               SCMP_SYS(write),
               SCMP_SYS(writev),
               SCMP_SYS(lseek),
               SCMP_SYS(close),
               SCMP_SYS(fstat),
               SCMP_SYS(fstatfs),
               SCMP_SYS(fadvise64),
               SCMP_SYS(poll),
               SCMP_SYS(ppoll),
               SCMP_SYS(munmap),
               SCMP_SYS(mremap),
               SCMP_SYS(madvise),
               SCMP_SYS(brk),
               SCMP_SYS(futex),
               SCMP_SYS(sched_yield),
               SCMP_SYS(sched_getaffinity),
               SCMP_SYS(set_robust_list),
               SCMP_SYS(rseq),
               SCMP_SYS(rt_sigaction),
               SCMP_SYS(rt_sigprocmask),
               SCMP_SYS(rt_sigreturn),
               SCMP_SYS(sigaltstack),
               SCMP_SYS(clock_gettime),
               SCMP_SYS(clock_nanosleep),
               SCMP_SYS(nanosleep),
               SCMP_SYS(gettimeofday),
               SCMP_SYS(time),
               SCMP_SYS(getrandom),
               SCMP_SYS(getpid),
               SCMP_SYS(gettid),
               SCMP_SYS(getuid),
               SCMP_SYS(geteuid),
               SCMP_SYS(getgid),
               SCMP_SYS(getegid),
               SCMP_SYS(uname),
               SCMP_SYS(sysinfo),
               SCMP_SYS(getcwd),
               SCMP_SYS(getrusage),
               SCMP_SYS(eventfd2),
               SCMP_SYS(restart_syscall),
               SCMP_SYS(exit),
               SCMP_SYS(exit_group)});
  // Memory becomes executable only as part of a file, which is how a library is loaded.
  const std::uint64_t execute = PROT_EXEC;
  calls.allow(SCMP_SYS(mmap), {SCMP_A2_64(SCMP_CMP_MASKED_EQ, execute, 0)});
  calls.allow(SCMP_SYS(mmap), {SCMP_A2_64(SCMP_CMP_MASKED_EQ, execute, execute),
                               SCMP_A3_64(SCMP_CMP_MASKED_EQ, MAP_ANONYMOUS, 0)});
  calls.allow(SCMP_SYS(mprotect), {SCMP_A2_64(SCMP_CMP_MASKED_EQ, execute, 0)});
  // Threads, never processes. The newer call hides its flags from a filter.
  const std::uint64_t thread = CLONE_VM | CLONE_THREAD;
  calls.allow(SCMP_SYS(clone), {SCMP_A0_64(SCMP_CMP_MASKED_EQ, thread, thread)});
  calls.refuse(ENOSYS, {SCMP_SYS(clone3)});
  calls.allow(SCMP_SYS(fcntl), {SCMP_A1_32(SCMP_CMP_EQ, F_GETFD)});
  calls.allow(SCMP_SYS(fcntl), {SCMP_A1_32(SCMP_CMP_EQ, F_SETFD)});
  calls.allow(SCMP_SYS(fcntl), {SCMP_A1_32(SCMP_CMP_EQ, F_GETFL)});
  calls.allow(SCMP_SYS(fcntl), {SCMP_A1_32(SCMP_CMP_EQ, F_DUPFD_CLOEXEC)});
  calls.allow(SCMP_SYS(prctl), {SCMP_A0_32(SCMP_CMP_EQ, PR_SET_NAME)});
  calls.allow(SCMP_SYS(prlimit64), {SCMP_A2_64(SCMP_CMP_EQ, 0)});  // asks for a limit
  const auto self = static_cast<std::uint32_t>(getpid());
  calls.allow(SCMP_SYS(tgkill), {SCMP_A0_32(SCMP_CMP_EQ, self)});  // abort()
  calls.refuse(ENOTTY, {SCMP_SYS(ioctl)});

  // What is known of files tells nothing of what is in them.
  calls.allow({SCMP_SYS(stat), SCMP_SYS(lstat), SCMP_SYS(newfstatat), SCMP_SYS(statx),
               SCMP_SYS(statfs), SCMP_SYS(access), SCMP_SYS(faccessat), SCMP_SYS(faccessat2),
               SCMP_SYS(readlink), SCMP_SYS(readlinkat), SCMP_SYS(getdents64)});
  if (mayOpen) {
    calls.allow({SCMP_SYS(open), SCMP_SYS(openat)});
  } else {
    calls.refuse(EACCES, {SCMP_SYS(open), SCMP_SYS(openat)});
  }
  // A cache of fonts that cannot be renewed is done without.
  calls.refuse(EACCES,
               {SCMP_SYS(mkdir), SCMP_SYS(mkdirat), SCMP_SYS(unlink), SCMP_SYS(unlinkat),
                SCMP_SYS(rename), SCMP_SYS(renameat), SCMP_SYS(renameat2), SCMP_SYS(link),
                SCMP_SYS(linkat), SCMP_SYS(chmod), SCMP_SYS(fchmodat), SCMP_SYS(utimensat)});
  calls.install();
}

}  // namespace korvane
