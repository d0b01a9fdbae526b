#include "host/PortalMain.h"

int main(int argc, char* argv[]) { return korvane::PortalMain(argc, argv); }
