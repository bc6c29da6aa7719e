// vistrel-grab's program, after the platform's entry point has turned the command line into
// text. Main thread only.
#pragma once

#include <vector>

#include "VXString.h"

// The arguments after the program name. Exit code: 0 when every capture succeeded, 1 when a
// capture was answered with a failure, 2 when the command line, the server or the exchange
// failed.
int grabMain(const std::vector<VXString>& args);
