// Vistrel::ServerInstance: one server process and its seven named objects, the platform half of
// the host (win32/, posix/). It creates the objects with owner-only security and refuses names
// that exist, starts the server tied to the host (a job object on Windows, the parent-death
// signal on Linux) with the log pipe as its only inherited handle, and waits for an answer, the
// server's end or a cancel at once. Not thread-safe: the Host serialises its calls.
#pragma once

#include <cstdint>
#include <memory>

#include "CancelSignal.h"
#include "HostPlatform.h"
#include "LogPipe.h"
#include "VXResult.h"
#include "VistrelParams.h"

namespace Vistrel {

class ServerInstance {
public:
    enum class Block { eExclWnds, eCaptureCursor, eImage, eWaitResult, eResult };
    enum class Wake { eAnswer, eEnded, eCanceled, eTimeout };

    ~ServerInstance();  // ends a server still running and gives the objects back
    ServerInstance(const ServerInstance&) = delete;
    ServerInstance& operator=(const ServerInstance&) = delete;

    // The objects only, all seven or none: any that exists already is refused with 2009
    // (eExists), "Identifier ... is in use", and nothing is written to it.
    static VXResult create(const Params& params, std::unique_ptr<ServerInstance>& instance);
    // Starts the server (commandLine: the quoted path and the options) in its own folder. With a
    // pipe, its write end becomes the server's standard error, the only handle it inherits.
    VXResult launch(const VXString& serverPath, const VXString& commandLine, LogPipe* pipe);

    uint8_t* view(Block block) const;
    VXResult signalStart();
    // Waits up to timeoutMs for the completion event, the server's end and the cancel signal.
    VXResult waitForAnswer(const CancelSignal& cancel, uint32_t timeoutMs, Wake& wake);
    bool isRunning() const;
    uint32_t processId() const { return _processId; }
    // 2024 when still running after timeoutMs.
    VXResult waitForExit(uint32_t timeoutMs, ServerExit& exit);
    // Ends the server and waits up to waitMs for it to be gone.
    VXResult terminate(uint32_t waitMs);

private:
    ServerInstance();
    struct Platform;
    std::unique_ptr<Platform> _platform;
    Params _params;
    uint32_t _processId = 0;
};

}  // namespace Vistrel
