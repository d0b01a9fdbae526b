#include "host/BrowserMain.h"

int main(int argc, char* argv[]) { return korvane::BrowserMain(argc, argv); }
