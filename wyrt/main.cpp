#include "classic/monitor/loop.h"
#include "wyrt/dispatch.h"

int main(int argc, char** argv) { return wyrtMain(argc, argv, monitor); }
