#include "host/DirectoryMain.h"

int main(int argc, char* argv[]) { return korvane::DirectoryMain(argc, argv); }
