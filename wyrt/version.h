// The program's version, as CMakeLists.txt has it.
#pragma once

const char* programVersion();
