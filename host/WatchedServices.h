#pragma once

#include <string_view>

#include "host/RunWatch.h"
#include "linux/LinuxPlatform.h"
#include "platform/Platform.h"

namespace korvane {

/// The services given, such that each run of a share (RunWatch) learns what they do for it: which
/// things were staged or why not, what was opened, which jobs still run. What threads do that work
/// for no run goes through unchanged. A process installs one such set, once, and may then make any
/// number of runs, several at once too.
Platform watchedServices(Platform services);

/// The services of a Linux desktop, watched; `options.launchFailure` is used here.
Platform watchedLinuxServices(LinuxOptions options = {});

}  // namespace korvane
