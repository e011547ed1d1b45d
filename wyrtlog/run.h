// The program behind the commands that read logs.
#pragma once

// argv[1] is the command. Exit status.
int wyrtlogMain(int argc, char** argv);
