#include "host/Program.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <exception>
#include <new>
#include <system_error>
#include <vector>

#include "host/Edition.h"
#include "host/InputError.h"
#include "linux/detail/MessageCatalogue.h"
#include "text/PrintableText.h"

namespace korvane {
namespace {

/// Writes all of it, or tells why not.
int writeAll(int descriptor, std::string_view text) noexcept {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

void openClosedStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (::fcntl(stream, F_GETFD) >= 0) continue;
    ::open("/dev/null", O_RDWR);  // the lowest free number is the stream's own
  }
}

/// A handler, unlike "ignored", is not handed down to the programs that are started.
void survive(int signal) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  action.sa_flags = SA_RESTART;
  ::sigaction(signal, &action, nullptr);
}

}  // namespace

int fail(std::string_view program, int status, std::string_view line) noexcept {
  try {
    writeAll(STDERR_FILENO, ownName(program) + ": " + printableText(line, LineBreaks::show) + "\n");
  } catch (...) {  // no memory; the lines that tell of it are our own
    writeAll(STDERR_FILENO, program);
    writeAll(STDERR_FILENO, ": there is not enough memory\n");
  }
  return status;
}

void writeOut(std::string_view text) {
  if (const int error = writeAll(STDOUT_FILENO, text)) {
    throw std::system_error(error, std::generic_category(), "standard output cannot be written");
  }
}

int runProgram(const CommandLine& line, int argc, char* argv[], const std::function<int()>& work) {
  try {
    openClosedStreams();
    survive(SIGXFSZ);
    survive(SIGPIPE);
    std::setlocale(LC_ALL, "");
    useMessageCatalogue(ownServices().resources);
    switch (parse(line, std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc))) {
      case CommandLineWish::help:
        writeOut(helpText(line));
        return kDone;
      case CommandLineWish::version:
        writeOut(versionText(line));
        return kDone;
      case CommandLineWish::work:
        return work();
    }
    return kDone;
  } catch (const InputError& error) {
    return fail(line.program, kUsage,
                error.what() + (" (see " + ownName(line.program) + " --help)"));
  } catch (const std::bad_alloc&) {
    return fail(line.program, kFailed, "there is not enough memory");
  } catch (const std::exception& error) {
    return fail(line.program, kFailed, error.what());
  }
}

}  // namespace korvane
