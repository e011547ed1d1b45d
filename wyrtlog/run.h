// The program behind wyrt show, wyrt why and wyrt info.
#pragma once

// argv[1] is the command. Exit status.
int wyrtlogMain(int argc, char** argv);
