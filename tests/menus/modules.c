// Preloaded into a file manager in tests: the folder named in KORVANE_TEST_FROM, in which it looks
// for modules, becomes the one named in KORVANE_TEST_TO. So the modules of a build are loaded, and
// no others, with nothing installed and nothing mounted.

#include <dirent.h>
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const char* moved(const char* path, char* buffer, size_t size) {
  const char* from = getenv("KORVANE_TEST_FROM");
  const char* to = getenv("KORVANE_TEST_TO");
  const size_t length = from ? strlen(from) : 0;
  if (!path || !to || length == 0 || strncmp(path, from, length) != 0) return path;
  if (path[length] != '\0' && path[length] != '/') return path;
  snprintf(buffer, size, "%s%s", to, path + length);
  return buffer;
}

DIR* opendir(const char* path) {
  static DIR* (*next)(const char*);
  char buffer[4096];
  if (!next) *(void**)&next = dlsym(RTLD_NEXT, "opendir");
  return next(moved(path, buffer, sizeof buffer));
}

void* dlopen(const char* path, int mode) {
  static void* (*next)(const char*, int);
  char buffer[4096];
  if (!next) *(void**)&next = dlsym(RTLD_NEXT, "dlopen");
  return next(moved(path, buffer, sizeof buffer), mode);
}
