#include "host/NSExtensionMain.h"

int main(int argc, char* argv[]) { return korvane::NSExtensionMain(argc, argv); }
