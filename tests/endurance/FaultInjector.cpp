// Preloaded into a program, lets calls of the C library's file operations fail that concern given
// folders. Controlled by environment variables, so that the program under test is the one that is
// installed:
//
//   KORVANE_FAULT_ROOTS  paths with ":" between; calls that concern nothing that begins with one of
//                        them never fail
//   KORVANE_FAULT_CALL   the operation, or "any"
//   KORVANE_FAULT_NTH    which call of it fails
//   KORVANE_FAULT_EVERY  "1": every NTH call fails, not just the first such
//   KORVANE_FAULT_ERRNO  what it fails with
//   KORVANE_FAULT_LOG    gets a byte for every failure

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

struct Plan {
  const char* roots = std::getenv("KORVANE_FAULT_ROOTS");
  const char* call = std::getenv("KORVANE_FAULT_CALL");
  const char* log = std::getenv("KORVANE_FAULT_LOG");
  long nth = number("KORVANE_FAULT_NTH", 0);
  bool every = number("KORVANE_FAULT_EVERY", 0) == 1;
  int code = static_cast<int>(number("KORVANE_FAULT_ERRNO", EIO));

  static long number(const char* name, long fallback) {
    const char* text = std::getenv(name);
    return text ? std::strtol(text, nullptr, 10) : fallback;
  }
};

const Plan& plan() {
  static const Plan plan;
  return plan;
}

std::atomic<long> calls = 0;

bool isBelowRoot(std::string_view path) {
  for (std::string_view rest = plan().roots; !rest.empty();) {
    const std::string_view root = rest.substr(0, rest.find(':'));
    if (path.starts_with(root)) return true;
    rest.remove_prefix(std::min(rest.size(), root.size() + 1));
  }
  return false;
}

bool concernsRoot(int folder, const char* path) {
  if (path && path[0] == '/') return isBelowRoot(path);
  char link[64];
  char target[4096];
  std::snprintf(link, sizeof link, folder == AT_FDCWD ? "/proc/self/cwd" : "/proc/self/fd/%d",
                folder);
  const long length = ::syscall(SYS_readlink, link, target, sizeof target - 1);
  if (length <= 0) return false;
  target[length] = '\0';
  return isBelowRoot(target);
}

/// Whether this call is one to fail; errno is set then.
bool fails(const char* call, int folder, const char* path) {
  const Plan& now = plan();
  if (!now.roots || !now.call || now.nth <= 0) return false;
  if (std::strcmp(now.call, "any") != 0 && std::strcmp(now.call, call) != 0) return false;
  const int kept = errno;
  const bool concerned = concernsRoot(folder, path);
  errno = kept;
  if (!concerned) return false;
  const long number = ++calls;
  if (now.every ? number % now.nth != 0 : number != now.nth) return false;
  if (now.log) {
    const long file = ::syscall(SYS_openat, AT_FDCWD, now.log, O_WRONLY | O_APPEND | O_CLOEXEC);
    if (file >= 0) {
      ::syscall(SYS_write, file, "x", 1);
      ::syscall(SYS_close, file);
    }
  }
  errno = now.code;
  return true;
}

template <class Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

// Each is defined under all the names by which the compiler may call it.
#define KORVANE_EXPORTED extern "C" __attribute__((visibility("default")))

#define KORVANE_FD_CALL(result, name, call, parameters, arguments, fd, failure) \
  KORVANE_EXPORTED result name parameters {                                     \
    static const auto original = real<result parameters>(#name);                \
    if (fails(call, fd, nullptr)) return failure;                               \
    return original arguments;                                                  \
  }
#define KORVANE_AT_CALL(result, name, call, parameters, arguments, folder, path) \
  KORVANE_EXPORTED result name parameters {                                      \
    static const auto original = real<result parameters>(#name);                 \
    if (fails(call, folder, path)) return -1;                                    \
    return original arguments;                                                   \
  }

#define KORVANE_OPENAT(name)                                                        \
  KORVANE_EXPORTED int name(int folder, const char* path, int flags, ...) {         \
    static const auto original = real<int(int, const char*, int, mode_t)>(#name);   \
    va_list rest;                                                                   \
    va_start(rest, flags);                                                          \
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) ? va_arg(rest, mode_t) : 0; \
    va_end(rest);                                                                   \
    if (fails((flags & O_CREAT) ? "create" : "open", folder, path)) return -1;      \
    return original(folder, path, flags, mode);                                     \
  }
#define KORVANE_OPEN(name)                                                          \
  KORVANE_EXPORTED int name(const char* path, int flags, ...) {                     \
    static const auto original = real<int(const char*, int, mode_t)>(#name);        \
    va_list rest;                                                                   \
    va_start(rest, flags);                                                          \
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) ? va_arg(rest, mode_t) : 0; \
    va_end(rest);                                                                   \
    if (fails((flags & O_CREAT) ? "create" : "open", AT_FDCWD, path)) return -1;    \
    return original(path, flags, mode);                                             \
  }

#pragma GCC diagnostic ignored "-Wpedantic"
#pragma GCC diagnostic ignored "-Wmissing-attributes"

KORVANE_OPENAT(openat)
KORVANE_OPENAT(openat64)
KORVANE_OPEN(open)
KORVANE_OPEN(open64)
KORVANE_AT_CALL(int, __openat_2, "open", (int folder, const char* path, int flags),
                (folder, path, flags), folder, path)
KORVANE_AT_CALL(int, __open_2, "open", (const char* path, int flags), (path, flags), AT_FDCWD, path)

KORVANE_FD_CALL(ssize_t, read, "read", (int fd, void* data, size_t size), (fd, data, size), fd, -1)
KORVANE_FD_CALL(ssize_t, __read_chk, "read", (int fd, void* data, size_t size, size_t limit),
                (fd, data, size, limit), fd, -1)
KORVANE_FD_CALL(ssize_t, pread, "read", (int fd, void* data, size_t size, off_t at),
                (fd, data, size, at), fd, -1)
KORVANE_FD_CALL(ssize_t, pread64, "read", (int fd, void* data, size_t size, off64_t at),
                (fd, data, size, at), fd, -1)
KORVANE_FD_CALL(ssize_t, __pread_chk, "read",
                (int fd, void* data, size_t size, off_t at, size_t limit),
                (fd, data, size, at, limit), fd, -1)
KORVANE_FD_CALL(ssize_t, write, "write", (int fd, const void* data, size_t size), (fd, data, size),
                fd, -1)
KORVANE_FD_CALL(ssize_t, pwrite, "write", (int fd, const void* data, size_t size, off_t at),
                (fd, data, size, at), fd, -1)
KORVANE_FD_CALL(ssize_t, pwrite64, "write", (int fd, const void* data, size_t size, off64_t at),
                (fd, data, size, at), fd, -1)
KORVANE_FD_CALL(ssize_t, copy_file_range, "copy",
                (int from, off64_t* in, int to, off64_t* out, size_t size, unsigned flags),
                (from, in, to, out, size, flags), to, -1)
KORVANE_FD_CALL(int, ftruncate, "truncate", (int fd, off_t size), (fd, size), fd, -1)
KORVANE_FD_CALL(int, ftruncate64, "truncate", (int fd, off64_t size), (fd, size), fd, -1)
KORVANE_FD_CALL(off_t, lseek, "seek", (int fd, off_t at, int whence), (fd, at, whence), fd, -1)
KORVANE_FD_CALL(off64_t, lseek64, "seek", (int fd, off64_t at, int whence), (fd, at, whence), fd,
                -1)
KORVANE_FD_CALL(int, fstat, "stat", (int fd, struct stat* status), (fd, status), fd, -1)
KORVANE_FD_CALL(int, fstat64, "stat", (int fd, struct stat64* status), (fd, status), fd, -1)
KORVANE_AT_CALL(int, fstatat, "stat",
                (int folder, const char* path, struct stat* status, int flags),
                (folder, path, status, flags), folder, path)
KORVANE_AT_CALL(int, fstatat64, "stat",
                (int folder, const char* path, struct stat64* status, int flags),
                (folder, path, status, flags), folder, path)
KORVANE_AT_CALL(int, stat, "stat", (const char* path, struct stat* status), (path, status),
                AT_FDCWD, path)
KORVANE_AT_CALL(int, lstat, "stat", (const char* path, struct stat* status), (path, status),
                AT_FDCWD, path)
KORVANE_FD_CALL(int, fchmod, "mode", (int fd, mode_t mode), (fd, mode), fd, -1)
KORVANE_FD_CALL(int, futimens, "time", (int fd, const struct timespec* times), (fd, times), fd, -1)
KORVANE_FD_CALL(int, flock, "lock", (int fd, int operation), (fd, operation), fd, -1)
KORVANE_FD_CALL(DIR*, fdopendir, "list", (int fd), (fd), fd, nullptr)
KORVANE_FD_CALL(struct dirent*, readdir, "list", (DIR * folder), (folder), ::dirfd(folder), nullptr)
KORVANE_AT_CALL(int, mkdir, "folder", (const char* path, mode_t mode), (path, mode), AT_FDCWD, path)
KORVANE_AT_CALL(int, mkdirat, "folder", (int folder, const char* path, mode_t mode),
                (folder, path, mode), folder, path)
KORVANE_AT_CALL(int, unlink, "remove", (const char* path), (path), AT_FDCWD, path)
KORVANE_AT_CALL(int, unlinkat, "remove", (int folder, const char* path, int flags),
                (folder, path, flags), folder, path)
KORVANE_AT_CALL(int, rename, "rename", (const char* from, const char* to), (from, to), AT_FDCWD,
                from)
KORVANE_AT_CALL(int, renameat, "rename", (int a, const char* from, int b, const char* to),
                (a, from, b, to), a, from)
KORVANE_AT_CALL(int, renameat2, "rename",
                (int a, const char* from, int b, const char* to, unsigned flags),
                (a, from, b, to, flags), a, from)
KORVANE_AT_CALL(int, linkat, "link", (int a, const char* from, int b, const char* to, int flags),
                (a, from, b, to, flags), a, from)

KORVANE_EXPORTED int fcntl64(int fd, int command, ...) {
  static const auto original = real<int(int, int, void*)>("fcntl64");
  va_list rest;
  va_start(rest, command);
  void* argument = va_arg(rest, void*);
  va_end(rest);
  if ((command == F_OFD_SETLK || command == F_OFD_SETLKW) && fails("lock", fd, nullptr)) return -1;
  return original(fd, command, argument);
}
KORVANE_EXPORTED int fcntl(int fd, int command, ...) {
  static const auto original = real<int(int, int, void*)>("fcntl");
  va_list rest;
  va_start(rest, command);
  void* argument = va_arg(rest, void*);
  va_end(rest);
  if ((command == F_OFD_SETLK || command == F_OFD_SETLKW) && fails("lock", fd, nullptr)) return -1;
  return original(fd, command, argument);
}
