// Runs the program that decodes pictures as a kernel without Landlock would.
#include <seccomp.h>
#include <unistd.h>

#include <cerrno>

#include "support/Places.h"

int main(int, char* argv[]) {
  scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
  if (filter == nullptr ||
      seccomp_rule_add(filter, SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(landlock_create_ruleset), 0) != 0 ||
      seccomp_load(filter) != 0) {
    return 1;
  }
  execv(KORVANE_BINARY_DIR "/libexec/korvane/korvane-image-decoder", argv);
  return 1;
}
