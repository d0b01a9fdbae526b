#include "host/PurposeMain.h"

int main(int argc, char* argv[]) { return korvane::PurposeMain(argc, argv); }
