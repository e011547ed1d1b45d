#include "wyrtlog/run.h"

int main(int argc, char** argv) { return wyrtlogMain(argc, argv); }
