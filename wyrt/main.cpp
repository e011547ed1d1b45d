#include "classic/monitor/loop.h"

int main(int argc, char** argv) { return monitor(argc, argv); }
