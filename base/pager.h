// A program between standard output and the reader, who turns pages in it. Part of the door: base/door/pager.cpp is the
// real one.
#pragma once

#include <string>
#include <vector>

class Pager {
    int process = -1;

public:
    Pager() = default;
    Pager(const Pager&) = delete;
    Pager& operator=(const Pager&) = delete;
    ~Pager() { finish(); }
    // Runs it; what is written to standard output goes to it from then on. From then on, too, a reader who leaves early
    // is EPIPE instead of a signal, and Ctrl-C is the pager's alone. False: it cannot be run, and nothing has changed.
    bool start(const std::vector<std::string>& words);
    // Closes standard output and waits until the reader has left. Without a pager it does nothing.
    void finish();
};

// The words of the pager that these values of $WYRT_PAGER and $PAGER ask for (null: not set), separated at blanks; no
// shell reads them. Empty: none is wanted.
std::vector<std::string> pagerWords(const char* own, const char* general);
