#include "linux/detail/ShareTurn.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "platform/Clock.h"
#include "platform/NSFileManager.h"

namespace korvane {
namespace {

constexpr std::chrono::milliseconds kPause{20};

int openLockFile(const std::string& container) {
  if (const std::size_t slash = container.rfind('/'); slash > 0 && slash != std::string::npos) {
    std::optional<NSError> ignored;  // opening tells, too
    NSFileManager::defaultManager()->createDirectoryAtURL(
        NSURL::fileURLWithPath(container.substr(0, slash)), true, ignored);
  }
  return ::open((container + ".share").c_str(),
                O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY,
                S_IRUSR | S_IWUSR);
}

}  // namespace

ShareTurn::ShareTurn(const std::optional<std::string>& container,
                     std::chrono::milliseconds longestWait) {
  if (!container) return;
  file_ = openLockFile(*container);
  if (file_ < 0) return;
  for (auto waited = std::chrono::milliseconds(0); ::flock(file_, LOCK_EX | LOCK_NB) != 0;
       waited += kPause) {
    if (errno != EWOULDBLOCK && errno != EINTR) return;
    if (waited >= longestWait) return;
    sleepForTimeInterval(std::chrono::duration<double>(kPause).count());
  }
  isOurs_ = true;
}

ShareTurn::~ShareTurn() {
  if (file_ >= 0) ::close(file_);
}

}  // namespace korvane
