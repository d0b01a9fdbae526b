#include "host/ViewMain.h"

#ifdef KORVANE_GTK
#include "programs/detail/SampleWindow.h"
#endif

int main(int argc, char* argv[]) {
#ifdef KORVANE_GTK
  return korvane::ViewMain(argc, argv, korvane::showSampleWindow);
#else
  return korvane::ViewMain(argc, argv, nullptr);
#endif
}
