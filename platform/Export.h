#pragma once

/// Marks what a shared library of this package offers; everything else stays inside it.
#define KORVANE_EXPORT __attribute__((visibility("default")))
