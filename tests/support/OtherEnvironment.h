#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <map>
#include <string>

namespace korvane::testing {

/// Runs a check in a process of its own, whose environment has these variables and no other that
/// names a language: gettext remembers what it has looked up.
inline void withEnvironment(const std::map<std::string, std::string>& variables,
                            const std::function<bool()>& check) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"}) unsetenv(name);
    for (const auto& [name, value] : variables) setenv(name.c_str(), value.c_str(), 1);
    _exit(check() ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace korvane::testing
