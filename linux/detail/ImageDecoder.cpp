#include "linux/detail/ImageDecoder.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "formats/images/DecodedPicture.h"
#include "formats/images/ImageFormat.h"
#include "linux/detail/FileDescriptor.h"
#include "linux/detail/Process.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kProgramName = "korvane-image-decoder";
// Of the processor: a process that is ended after less has not come to its limit, which is five.
constexpr std::chrono::seconds kLongTime{2};

std::string errorText(int error) { return std::generic_category().message(error); }

// Descriptors below 3 are where the process will have its own.
FileDescriptor aboveStandardStreams(int descriptor) {
  FileDescriptor given(descriptor);
  if (given.get() < 0 || given.get() > STDERR_FILENO) return given;
  return FileDescriptor(fcntl(given.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

// The variables that tell where fonts are; the program gets no others. Its large blocks of memory
// are made of large pages, which takes a sixth of its time away.
std::vector<std::string> environment() {
  std::vector<std::string> variables{"LC_ALL=C.UTF-8", "GIO_USE_VFS=local",
                                     "GIO_MODULE_DIR=/nonexistent",
                                     "GLIBC_TUNABLES=glibc.malloc.hugetlb=1"};
  for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME",
                           "ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"}) {
    if (const char* value = std::getenv(name)) variables.push_back(std::string(name) + '=' + value);
  }
  return variables;
}

// What a started process is given, beside its two descriptors.
class SpawnPlan {
 public:
  SpawnPlan(int input, int output) {
    posix_spawn_file_actions_init(&files_);
    posix_spawn_file_actions_adddup2(&files_, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files_, output, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&files_, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&files_, STDERR_FILENO + 1);
    posix_spawnattr_init(&attributes_);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setsigdefault(&attributes_, &all);
  }
  ~SpawnPlan() {
    posix_spawn_file_actions_destroy(&files_);
    posix_spawnattr_destroy(&attributes_);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;

  // 0, or the number of the error.
  int start(pid_t& process, const std::string& program, std::vector<std::string> arguments) {
    std::vector<std::string> variables = environment();
    const auto pointers = [](std::vector<std::string>& texts) {
      std::vector<char*> list;
      list.reserve(texts.size() + 1);
      for (std::string& text : texts) list.push_back(text.data());
      list.push_back(nullptr);
      return list;
    };
    return posix_spawn(&process, program.c_str(), &files_, &attributes_, pointers(arguments).data(),
                       pointers(variables).data());
  }

 private:
  posix_spawn_file_actions_t files_{};
  posix_spawnattr_t attributes_{};
};

// Gives the process the data and waits until it ends. False when the time is over before.
bool feedUntilEnd(const Process& process, FileDescriptor socket, const NSData& encoded,
                  Clock::time_point deadline) {
  std::size_t sent = 0;
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) return false;
    pollfd events[2] = {{process.watch(), POLLIN, 0}, {socket.get(), POLLOUT, 0}};
    const bool isWatched = process.watch() >= 0;
    const auto pause = isWatched ? left : std::min(left, Process::kPause);
    const int ready = poll(events, socket ? 2 : 1, static_cast<int>(pause.count()));
    if (ready < 0 && errno != EINTR) return false;
    if (events[0].revents != 0 || (!isWatched && process.hasEnded())) return true;
    if (ready <= 0) continue;
    const ssize_t count = send(socket.get(), encoded.data() + sent, encoded.size() - sent,
                               MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count > 0) sent += static_cast<std::size_t>(count);
    const bool refused = count < 0 && errno != EAGAIN && errno != EINTR;
    if (refused || sent == encoded.size()) socket = FileDescriptor();  // its end tells so
  }
}

// The bytes of a file in memory that nobody can change.
class SealedBytes {
 public:
  // Nothing is mapped where the file cannot be sealed, or is longer than anything allowed. Throws
  // std::bad_alloc where there is no room for it.
  explicit SealedBytes(int file) {
    constexpr int kSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;
    struct stat status {};
    if (fcntl(file, F_ADD_SEALS, kSeals) != 0 || fstat(file, &status) != 0 || status.st_size <= 0 ||
        static_cast<std::uint64_t>(status.st_size) > kMaxDecodedBytes) {
      return;
    }
    size_ = static_cast<std::size_t>(status.st_size);
    void* mapped = mmap(nullptr, size_, PROT_READ, MAP_SHARED, file, 0);
    if (mapped == MAP_FAILED) throw std::bad_alloc();
    bytes_ = static_cast<const std::uint8_t*>(mapped);
  }
  ~SealedBytes() {
    if (bytes_ != nullptr) munmap(const_cast<std::uint8_t*>(bytes_), size_);
  }
  SealedBytes(const SealedBytes&) = delete;
  SealedBytes& operator=(const SealedBytes&) = delete;

  std::span<const std::uint8_t> get() const {
    return bytes_ != nullptr ? std::span(bytes_, size_) : std::span<const std::uint8_t>();
  }

 private:
  const std::uint8_t* bytes_ = nullptr;
  std::size_t size_ = 0;
};

const char* reason(DecodeStatus status) {
  switch (status) {
    case DecodeStatus::notAPicture:
      return translatable("it is not a picture that can be read");
    case DecodeStatus::damaged:
      return translatable("the picture is damaged or incomplete");
    case DecodeStatus::tooLarge:
      return translatable(
          "the picture has more than 108 megapixels, or more than 81 with transparency");
    case DecodeStatus::noMemory:
      return translatable("decoding the picture needs too much memory");
    default:
      return translatable("the program that decodes pictures gave back what does not fit together");
  }
}

// Of a process that ended by itself but not well, after so much of the processor's time.
std::string reasonOfEnd(int status, std::chrono::microseconds processorTime) {
  if (!WIFSIGNALED(status))
    return translated("the program that decodes pictures could not decode this one");
  const int signal = WTERMSIG(status);
  // The limit on that time ends it by SIGKILL. So does the system where memory runs out.
  if (signal == SIGXCPU || (signal == SIGKILL && processorTime > kLongTime)) {
    return translated("decoding the picture takes too long");
  }
  switch (signal) {
    case SIGSYS:
      return translated("the picture made the program that decodes it try what it may not do");
    default:
      return translated(
          "the program that decodes pictures ended by itself on this one ({0}), for want of memory "
          "perhaps",
          strsignal(signal));
  }
}

}  // namespace

std::shared_ptr<const Bitmap> ImageDecoder::decode(const NSData& encoded, std::string& why) const {
  const auto deadline = Clock::now() + patience;
  const FileDescriptor output =
      aboveStandardStreams(memfd_create(kProgramName, MFD_CLOEXEC | MFD_ALLOW_SEALING));
  int ends[2] = {-1, -1};
  const bool connected = socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0;
  FileDescriptor here = aboveStandardStreams(ends[0]);
  FileDescriptor there = aboveStandardStreams(ends[1]);
  if (!output || !connected || !here || !there) {
    why = translated("the program that decodes pictures cannot be started: {0}", errorText(errno));
    return nullptr;
  }
  const std::string_view format = imageFormat(encoded);
  pid_t number = 0;
  const int error = SpawnPlan(there.get(), output.get())
                        .start(number, program.string(),
                               {kProgramName, format.empty() ? "-" : std::string(format),
                                std::to_string(encoded.size())});
  if (error != 0) {
    why = translated("the program that decodes pictures cannot be started: {0}",
                     program.string() + ": " + errorText(error));
    return nullptr;
  }
  Process process(number);
  there = FileDescriptor();
  if (!feedUntilEnd(process, std::move(here), encoded, deadline)) {
    why = translated("decoding the picture takes too long");
    return nullptr;
  }
  const std::optional<int> status = process.status();
  const SealedBytes bytes(output.get());
  if (status && *status != 0) {
    why = reasonOfEnd(*status, process.processorTime());
    return nullptr;
  }
  DecodedPicture picture = readDecodedPicture(bytes.get());
  if (picture.status != DecodeStatus::decoded) {
    why = translated(reason(picture.status));
    return nullptr;
  }
  return std::move(picture.bitmap);
}

std::filesystem::path ImageDecoder::installedProgram() {
  std::error_code ignored;
  const auto running = std::filesystem::read_symlink("/proc/self/exe", ignored);
  const auto folder = running.parent_path();
  for (const auto& place : {folder.parent_path() / "libexec" / "korvane", folder}) {
    auto program = place / kProgramName;
    if (!running.empty() && access(program.c_str(), X_OK) == 0) return program;
  }
  return KORVANE_LIBEXEC "/" + std::string(kProgramName);
}

}  // namespace korvane
