#include "wyrt/version.h"

const char* programVersion() { return WYRT_VERSION; }
