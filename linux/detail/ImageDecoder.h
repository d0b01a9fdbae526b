#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

#include "platform/Export.h"
#include "platform/NSImage.h"

namespace korvane {

/// The program that decodes pictures, and how long one may take.
struct KORVANE_EXPORT ImageDecoder {
  std::filesystem::path program = installedProgram();
  std::chrono::milliseconds patience{5000};

  /// Decodes one picture in a process of its own, which ends with it: the data goes in through a
  /// socket; pixels come back in a file in memory that is read once nobody can change it any more,
  /// every number in it checked. Whatever happens to that process is the loss of this picture
  /// alone. Null where there is none, and then `why` says the reason in one line for people. Blocks
  /// for as long as decoding takes; any thread may call. Throws std::bad_alloc.
  std::shared_ptr<const Bitmap> decode(const NSData& encoded, std::string& why) const;

  /// `../libexec/korvane/korvane-image-decoder` beside the running program's own folder, or the one
  /// in that folder, where they are; else the one that was installed with this library.
  static std::filesystem::path installedProgram();
};

}  // namespace korvane
