#include "host/ReceiverMain.h"

int main(int argc, char* argv[]) { return korvane::ReceiverMain(argc, argv); }
