#include "platform/linux/LinuxPlatform.h"

namespace korvane {

Platform linuxPlatform(const LinuxOptions& options) {
  Platform services;
  (void)options;
  return services;
}

}  // namespace korvane
