// libFuzzer runs: the targets' refusals are logged by the libraries, and writing thousands of
// log lines a second would be most of the work.
#include "VXLog.h"

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    VXLog::setTargets({});
    return 0;
}
