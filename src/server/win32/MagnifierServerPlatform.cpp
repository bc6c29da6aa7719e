#include "MagnifierServerPlatform.h"

#include <windows.h>

#include "HookD3D.h"
#include "MagnificationDll.h"
#include "MagnifierReaderAdapter.h"
#include "VXCrashHandler.h"
#include "VistrelMain.h"

namespace Vistrel {

void MagnifierServerPlatform::prepareProcess() {
    // A crash leaves its description and a compressed dump in the debug log.
    VXCrashHandler::install();
}

VXResult MagnifierServerPlatform::getCommandLineArgs(VXString& cmdLineArgs) {
    return Vistrel::getCommandLineArgs(reinterpret_cast<const char16_t*>(GetCommandLineW()), cmdLineArgs);
}

VXResult MagnifierServerPlatform::startCapture(bool unitTestMode) {
    // The binding and MagInitialize first; the interception on its own so that a failure to
    // install it can still be paired with MagUninitialize.
    const VXResult initialized = initMagnification(true);
    if (initialized.isError())
        return initialized;
    if (!unitTestMode) {
        const VXResult hooked = HookD3D::installStretchRectHook(HookD3D::eCallOriginalNever);
        if (hooked.isError()) {
            uninitMagnification(true);
            return hooked;
        }
    }
    return VXError::eNoError;
}

void MagnifierServerPlatform::stopCapture(bool unitTestMode) {
    uninitMagnification(unitTestMode);
}

std::unique_ptr<ScreenReader> MagnifierServerPlatform::makeReader() {
    return std::make_unique<MagnifierReaderAdapter>();
}

}  // namespace Vistrel
