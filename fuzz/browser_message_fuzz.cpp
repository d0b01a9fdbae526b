// What a browser's extension sends: the length, then JSON. The reading ends at the length's bytes,
// whatever there is; the request holds only what a page may name: links of four schemes, texts and
// pictures, and never a path of this machine.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "Require.h"
#include "host/BrowserMessage.h"
#include "host/InputError.h"
#include "host/URLText.h"
#include "text/ASCII.h"

using namespace korvane;

namespace {

void checkRequest(const ShareRequest& request) {
  REQUIRE(request.items.size() == 1);
  for (const ShareRequest::Attachment& attachment : request.items[0].attachments) {
    const auto* link = std::get_if<ShareRequest::Link>(&attachment);
    REQUIRE(link || std::holds_alternative<ShareRequest::ImageData>(attachment));
    if (!link) continue;
    static constexpr std::array<std::string_view, 4> kSchemes{"http", "https", "ftp", "mailto"};
    REQUIRE(
        std::ranges::any_of(kSchemes, [&](auto scheme) { return schemeIs(link->url, scheme); }));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), &std::fclose);
  REQUIRE(file != nullptr);
  const int descriptor = ::fileno(file.get());
  REQUIRE(::write(descriptor, data, size) == static_cast<ssize_t>(size) &&
          ::lseek(descriptor, 0, SEEK_SET) == 0);
  std::string message;
  try {
    message = readBrowserMessage(descriptor);
    REQUIRE(::lseek(descriptor, 0, SEEK_CUR) == static_cast<off_t>(message.size() + 4));
    const bool isAnswer = message.size() <= kMaxBrowserAnswer;
    REQUIRE(!isAnswer ||
            framedBrowserAnswer(message) ==
                std::string_view(reinterpret_cast<const char*>(data), message.size() + 4));
  } catch (const InputError&) {
    message.assign(reinterpret_cast<const char*>(data), size);
  }
  try {
    checkRequest(requestOfBrowserMessage(message));
  } catch (const InputError&) {
    // Refused: that is one of the two ways to end.
  }
  return 0;
}
