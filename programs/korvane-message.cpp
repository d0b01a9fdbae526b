#include "host/MessageMain.h"

int main(int argc, char* argv[]) { return korvane::MessageMain(argc, argv); }
