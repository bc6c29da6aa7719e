// The capture service, one for every platform: serves capture requests one at a time through
// the shared objects, driving whatever screen reader the platform makes, and ends after a
// minute without a request or when the exchange fails. Runs on the main thread only.
#pragma once

#include <cstdint>
#include <memory>

#include "ServerPlatform.h"
#include "VXRect.h"
#include "VXResult.h"
#include "VistrelParams.h"
#include "VistrelSharedObjects.h"

namespace Vistrel {

// How long the service waits for a request before it ends.
constexpr uint32_t kRequestTimeoutMs = 60000;

// The whole service: the platform's capture engine up (nothing that captures in unitTestMode),
// requests served, the engine down again. The outcome is what the host finds in the result
// block. sharedObjects and platform are borrowed for the call.
VXResult run(const Params& params, const std::shared_ptr<SharedObjects>& sharedObjects, bool unitTestMode,
             ServerPlatform& platform);
// The request loop; returns why it ended.
VXResult serveRequests(const VXRect& captureRect, const std::shared_ptr<SharedObjects>& sharedObjects,
                       bool unitTestMode, ServerPlatform& platform);
// Writes the result record at the start of the block; a text too long for it is shortened.
VXResult writeResult(const std::shared_ptr<SharedProcessMemory>& shMemResult, const VXResult& result);

}  // namespace Vistrel
