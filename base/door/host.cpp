#include "base/host.h"

#include <sys/utsname.h>

Host getHost() {
    utsname answer{};
    if (uname(&answer) != 0) return {};
    return {answer.nodename, answer.release, answer.machine};
}
