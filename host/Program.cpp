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
#include "platform/detail/Translation.h"
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
    writeAll(STDERR_FILENO, ": ");
    writeAll(STDERR_FILENO, translationOf("there is not enough memory"));
    writeAll(STDERR_FILENO, "\n");
  }
  return status;
}

std::string textOf(const std::exception& error) {
  const auto* const systemError = dynamic_cast<const std::system_error*>(&error);
  if (systemError && systemError->code() == std::errc::resource_unavailable_try_again) {
    return translated("there is not enough memory, or too many threads or files are open");
  }
  return error.what();
}

void writeOut(std::string_view text) {
  if (const int error = writeAll(STDOUT_FILENO, text)) {
    throw std::system_error(error, std::generic_category(),
                            translated("standard output cannot be written"));
  }
}

int runProgram(const CommandLine& line, int argc, char* argv[], const std::function<int()>& work) {
  try {
    openClosedStreams();
    survive(SIGXFSZ);
    survive(SIGPIPE);
    const bool isInstalled = std::setlocale(LC_ALL, "") != nullptr;
    useMessageCatalogue(ownServices().resources);
    // The system's own texts come in the person's language, too.
    if (!isInstalled) std::setlocale(LC_ALL, "C.UTF-8");
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
                translated("{0} (see {1} --help)", error.what(), ownName(line.program)));
  } catch (const std::bad_alloc&) {
    return fail(line.program, kFailed, translationOf("there is not enough memory"));
  } catch (const std::exception& error) {
    return fail(line.program, kFailed, textOf(error));
  }
}

}  // namespace korvane
