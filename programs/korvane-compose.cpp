#include "compose/ComposeMain.h"

int main(int argc, char* argv[]) { return korvane::ComposeMain(argc, argv); }
