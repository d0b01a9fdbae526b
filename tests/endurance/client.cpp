// A mail client for the endurance runs, run by its Exec line: waits, reads what the message
// attaches, and writes one line of what it found: the subject, then NAME=HASH for every file.
//
// endurance_client FIFO MILLISECONDS URL...

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "endurance/Content.h"
#include "model/ExtensionMessage.h"
#include "platform/NSURL.h"

namespace fs = std::filesystem;
using namespace korvane;

int main(int argc, char** argv) {
  if (argc < 4) return 2;
  std::this_thread::sleep_for(std::chrono::milliseconds(std::atoi(argv[2])));
  for (int i = 3; i < argc; ++i) {
    const auto url = NSURL::URLWithString(argv[i]);
    if (!url) return 1;
    const auto message = ExtensionMessage::ExtensionMessageWithUrl(*url);
    std::string line = message->subject().isAbsent() ? "-" : message->subject().description();
    for (const Value& attachment : message->attachments().value_or(List())) {
      line += testing::describeFiles(attachment.description());
    }
    line += '\n';
    const int fifo = ::open(argv[1], O_WRONLY | O_CLOEXEC);
    if (fifo < 0 || ::write(fifo, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
      return 1;
    }
    ::close(fifo);
  }
  return 0;
}
