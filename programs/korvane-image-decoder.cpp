// Decodes one picture in a process that can do nothing else. Started by the library, not by people:
//
//   korvane-image-decoder FORMAT SIZE
//
// FORMAT is what imageFormat() says, "-" where it does not know. SIZE bytes of image data are read
// from standard input; what DecodedPicture.h describes is written to standard output, a file in
// memory. With the format "formats" and the size 0, the formats that can be decoded are written
// instead, a line each. The exit status is 0 where something was written, also where the picture is
// refused.

#include <glib.h>
#include <malloc.h>
#include <unistd.h>

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <vector>

#include "decoder/Confinement.h"
#include "decoder/PictureLoader.h"

namespace {

// False where the end comes before the vector is full.
bool readAll(std::vector<std::uint8_t>& into) {
  std::size_t used = 0;
  while (used < into.size()) {
    const ssize_t count = read(STDIN_FILENO, &into[used], into.size() - used);
    if (count <= 0) return false;  // no signal is handled here, so none interrupts
    used += static_cast<std::size_t>(count);
  }
  return true;
}

GLogWriterOutput sayNothing(GLogLevelFlags, const GLogField*, gsize, gpointer) {
  return G_LOG_WRITER_HANDLED;
}

int run(std::string_view format, std::size_t size) {
  using namespace korvane;
  mallopt(M_ARENA_MAX, 1);  // those of further threads would reserve much of the address space
  g_log_set_writer_func(sayNothing, nullptr, nullptr);
  if (format == "formats") return writeFormats(STDOUT_FILENO) ? EXIT_SUCCESS : EXIT_FAILURE;
  limitProcess();
  const bool mayOpen = confineFiles();
  prepareLoaders(format, mayOpen);
  confineCalls(mayOpen);
  // Nothing of the picture was read so far.
  std::vector<std::uint8_t> encoded(size);
  if (!readAll(encoded)) return EXIT_FAILURE;
  return decodePicture(encoded, format, STDOUT_FILENO) ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char* argv[]) {
  std::size_t size = 0;
  if (argc != 3) return EXIT_FAILURE;
  const char* end = argv[2] + std::strlen(argv[2]);
  if (std::from_chars(argv[2], end, size).ptr != end) return EXIT_FAILURE;
  const std::string_view format = argv[1];
  int status = EXIT_FAILURE;
  try {
    status = run(format == "-" ? std::string_view() : format, size);
  } catch (const std::bad_alloc&) {  // the status says enough
  }
  // What the libraries hold needs no tidying up.
  _exit(status);
}
