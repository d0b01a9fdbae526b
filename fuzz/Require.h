#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the program where a relation does not hold, so that the fuzzer keeps the input.
#define REQUIRE(condition)                                                                \
  do {                                                                                    \
    if (!(condition)) {                                                                   \
      std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                       \
    }                                                                                     \
  } while (false)
