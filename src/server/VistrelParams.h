// Vistrel::Params: the server's options record, made once from the command line and
// shared: the capture rectangle, the identifier, the test switch and the names of all
// shared objects. makeCommandLine is the inverse a host uses to start the server.
#pragma once

#include <memory>

#include "VXRect.h"
#include "VXResult.h"
#include "VXString.h"

namespace Vistrel {

struct Params {
    VXRect captureRect;
    VXString guid;
    bool unitTestMode = false;
    VXString eventStartName;
    VXString eventCompletedName;
    VXString exclWndsName;
    VXString captureCursorName;
    VXString imageName;
    VXString waitResultName;
    VXString resultName;

    // Needs "/cr l,t,r,b" and a non-empty "/g"; "/ut" sets the test mode. The rectangle's
    // shape is not judged here. The prefixes come from the caller (VistrelExchange.h).
    static VXResult create(const char16_t* cmdLineArgs, const char16_t* eventStartPrefix,
                           const char16_t* eventCompletedPrefix, const char16_t* fmoExclWndsPrefix,
                           const char16_t* fmoCaptureCursorPrefix, const char16_t* fmoImagePrefix,
                           const char16_t* fmoWaitResultPrefix, const char16_t* fmoResultPrefix,
                           std::shared_ptr<Params>& params);
    // ""/cr l,t,r,b" "/g guid"" and, in test mode, " "/ut"".
    static VXResult makeCommandLine(const VXRect& captureRect, const char16_t* guid, bool unitTestMode,
                                    VXString& commandLine);
};

}  // namespace Vistrel
