// The Windows server's platform steps: the crash handler, the process command line, the
// magnifier with its StretchRect interception, and the magnifier's reader. Main thread only.
#pragma once

#include "ServerPlatform.h"

namespace Vistrel {

class MagnifierServerPlatform : public ServerPlatform {
public:
    void prepareProcess() override;
    // GetCommandLineW without the program name.
    VXResult getCommandLineArgs(VXString& cmdLineArgs) override;
    // The magnification binding and MagInitialize, then the interception unless unitTestMode;
    // an interception that cannot be installed still gets its MagUninitialize.
    VXResult startCapture(bool unitTestMode) override;
    void stopCapture(bool unitTestMode) override;
    std::unique_ptr<ScreenReader> makeReader() override;
};

}  // namespace Vistrel
