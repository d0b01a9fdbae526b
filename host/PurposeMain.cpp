#include "host/PurposeMain.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <utility>

#include "host/Edition.h"
#include "host/InputError.h"
#include "host/Interruption.h"
#include "host/OutcomeReport.h"
#include "host/Program.h"
#include "host/PurposeMessage.h"
#include "host/ShareRun.h"
#include "host/WatchedServices.h"
#include "linux/detail/ContainerRoot.h"
#include "linux/detail/FileDescriptor.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

/// How long the menu may take to go on with a message that it has begun.
constexpr std::chrono::milliseconds kPatience{60'000};

/// Connects to a socket. A name that is not a path is in the folder for temporary files, as Qt has
/// it. Throws InputError.
FileDescriptor connectTo(const std::string& name) {
  std::filesystem::path path = name;
  if (path == path.filename()) path = std::filesystem::temp_directory_path() / path;
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  int error = socket ? 0 : errno;
  if (path.native().size() >= sizeof address.sun_path) {
    error = ENAMETOOLONG;
  } else if (!error) {
    path.native().copy(address.sun_path, path.native().size());
    if (::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
      error = errno;
    }
  }
  if (error) throw InputError(translated("the Share menu cannot be reached: {0}", strerror(error)));
  return socket;
}

/// The menu's end of the conversation. Any thread may call.
class Menu {
 public:
  explicit Menu(FileDescriptor socket) : socket_(std::move(socket)) {}

  std::string read() const { return readPurposeMessage(socket_.get(), kPatience); }

  /// Throws std::system_error where the menu has gone.
  void write(std::string_view line) {
    const std::lock_guard lock(mutex_);
    while (!line.empty()) {
      const ssize_t count = ::send(socket_.get(), line.data(), line.size(), MSG_NOSIGNAL);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) {
        throw std::system_error(errno, std::generic_category(), "the Share menu does not listen");
      }
      line.remove_prefix(static_cast<std::size_t>(count));
    }
  }

  /// Writes how much is done, where that is another number than the last time. Any thread.
  void tellProgress(double part) noexcept {
    try {
      const std::string line = purposeProgress(part);
      {
        const std::lock_guard lock(mutex_);
        if (line == progress_) return;
        progress_ = line;
      }
      write(line);
    } catch (const std::exception&) {  // the share goes on
    }
  }

  /// Writes a line where it does not matter whether anybody listens.
  void mention(std::string_view line) noexcept {
    try {
      write(line);
    } catch (const std::exception&) {  // the share goes on
    }
  }

 private:
  const FileDescriptor socket_;
  std::mutex mutex_;
  std::string progress_;
};

ShareOutcome shareFrom(Menu& menu) {
  ShareRequest request = requestOfPurposeMessage(menu.read());
  Platform::install(watchedLinuxServices(ownServices()));
  menu.tellProgress(0);
  ShareOptions options{.container = ContainerRoot().path()};
  options.hooks.progress = [&menu](const std::string&, double part) {
    if (part >= 0) menu.tellProgress(part);
  };
  const Interruption interruption([&menu] {
    menu.mention(
        purposeFailure(translated("the share was interrupted before the mail client answered")));
    removeUnfinishedAttachments();
    removeUnfinishedAttachments();  // what was being written in the meantime
  });
  return runShare(std::move(request), options);
}

ShareOutcome failure(std::string reason) {
  return {.status = ShareOutcome::Status::notOpened, .reason = std::move(reason)};
}

ShareOutcome outcomeOf(Menu& menu) {
  try {
    return shareFrom(menu);
  } catch (const std::bad_alloc&) {
    return failure(translated("there is not enough memory"));
  } catch (const std::exception& error) {
    return failure(error.what());
  }
}

/// The lines of the outcome; empty where all is well.
std::string failureText(const ShareOutcome& outcome) {
  if (outcome.status != ShareOutcome::Status::opened) return outcome.reason;
  std::string text;
  for (const std::string& line : outcomeLines(outcome)) {
    text.append(text.empty() ? "" : "\n").append(line);
  }
  return text;
}

}  // namespace

int PurposeMain(int argc, char* argv[]) {
  std::string server;
  std::string pluginType;
  std::string pluginPath;
  const CommandLine line{
      .program = "korvane-purpose",
      .usage = {translatable("--server SOCKET [--pluginType TYPE] [--pluginPath FILE]")},
      .before = translatable(
          "Started by KDE's Share menu: takes one message from a socket, shares what it\n"
          "holds and answers there.\n\n"),
      .options =
          {
              {"--server", translatable("SOCKET"), translatable("the socket to connect to"),
               once("--server", server)},
              {"--pluginType", translatable("TYPE"),
               translatable("not used: every message says what it holds"),
               once("--pluginType", pluginType)},
              {"--pluginPath", translatable("FILE"), translatable("not used"),
               once("--pluginPath", pluginPath)},
          },
      .takeOther =
          [](const std::string&) { throw InputError(translated("nothing but options is taken")); },
      .check =
          [&] {
            if (server.empty()) throw InputError(translated("{0} is missing", "--server"));
          },
  };
  return runProgram(line, argc, argv, [&] {
    Menu menu(connectTo(server));
    const ShareOutcome outcome = outcomeOf(menu);
    const std::string failed = failureText(outcome);
    menu.write(failed.empty() ? purposeDone() : purposeFailure(failed));
    if (outcome.busy) {
      removeUnfinishedAttachments();
      std::_Exit(kDone);
    }
    return kDone;
  });
}

}  // namespace korvane
