// The program behind wyrt show and wyrt info.
#pragma once

// argv[1] is the command. Exit status.
int wyrtlogMain(int argc, char** argv);
