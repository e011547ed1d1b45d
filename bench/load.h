// A load to measure on: runs bench-load (bench/load.cpp), which is in the same folder as this program, until the object
// goes out of scope.
#pragma once

#include "bench/words.h"

#include <csignal>
#include <cstdio>
#include <string>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

class Load {
    pid_t pid = -1;

public:
    Load(const std::string& self, const std::string& options);
    ~Load() {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        sleep(1); // until all its processes are gone
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;
};

inline Load::Load(const std::string& self, const std::string& options) {
    Words words({self.substr(0, self.rfind('/') + 1) + "bench-load"}, options);
    int ready[2];
    if (pipe(ready) != 0) perror("pipe"), exit(1);
    pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(ready[1], STDOUT_FILENO);
        execv(words.argv()[0], words.argv());
        perror(words.argv()[0]);
        _exit(1);
    }
    close(ready[1]);
    char told = 0;
    if (read(ready[0], &told, 1) != 1) fprintf(stderr, "the load could not be made\n"), exit(1);
    close(ready[0]);
}
