// The reader of share requests: it never crashes, refuses with an error of its own alone, and what
// it accepts reads the same when it is written again.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "host/InputError.h"
#include "host/ShareRequest.h"
#include "tests/support/RequestWriter.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace korvane;
  const std::string_view json(reinterpret_cast<const char*>(data), size);
  ShareRequest request;
  try {
    request = readShareRequest(json);
  } catch (const InputError& error) {
    if (std::string_view(error.what()).find_first_of("\n\r\x1b") != std::string_view::npos) {
      std::abort();  // not one line that can be shown
    }
    return 0;
  }
  for (const MissingThing& lost : request.unread) {
    if (lost.reason.find_first_of("\n\r\x1b") != std::string::npos) std::abort();
  }
  if (readShareRequest(testing::writeShareRequest(request)).items != request.items) std::abort();
  return 0;
}
