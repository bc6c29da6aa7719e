// The capture service: binds the magnifier, serves capture requests one at a time through
// the shared objects, and ends after a minute without a request or when the exchange fails.
#pragma once

#include <memory>

#include "VXRect.h"
#include "VXResult.h"
#include "VXString.h"
#include "VistrelParams.h"
#include "VistrelSharedObjects.h"

namespace Vistrel {

// How long the service waits for a request before it ends.
constexpr uint32_t kRequestTimeoutMs = 60000;

// The process command line without the program name (the blank before the options stays).
VXResult getCommandLineArgs(VXString& cmdLineArgs);
VXResult getCommandLineArgs(const char16_t* commandLine, VXString& cmdLineArgs);

// The whole service: magnifier up, interception installed (unless unitTestMode), requests
// served, everything taken down again. The outcome is what the host finds in the result block.
VXResult run(const Params& params, const std::shared_ptr<SharedObjects>& sharedObjects, bool unitTestMode);
// The request loop; returns why it ended.
VXResult serveRequests(const VXRect& captureRect, const std::shared_ptr<SharedObjects>& sharedObjects,
                       bool unitTestMode);
// Writes the result record at the start of the block.
VXResult writeResult(const std::shared_ptr<SharedProcessMemory>& shMemResult, const VXResult& result);

}  // namespace Vistrel
