// Vistrel::Host: drives one capture server from the host's side, on every platform. It creates
// the server's named objects (refusing any that exist), starts the server tied to the host,
// and turns one request (windows to leave out, cursor flag) into the server's answer: result,
// image and wait record. Every wait for an answer also watches the server process and the
// host's cancel, so a dead server is reported at once and a capture can be stopped from any
// thread. Optionally it starts a new server when the old one has ended.
//
// Threads: one call at a time on a host, from any thread, except cancel(), which any thread may
// call at any time. The log callback runs on the log's own thread; it may call cancel() but
// must not destroy the host.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "CancelSignal.h"
#include "FrameDiff.h"
#include "HostPlatform.h"
#include "ServerInstance.h"
#include "ServerLog.h"
#include "VXImage.h"
#include "VXRect.h"
#include "VXResult.h"
#include "VistrelParams.h"
#include "VistrelRecords.h"

namespace Vistrel {

// Where a capture's pixels are and whether its updated region is worked out.
enum class FrameMode {
    // The host's own copy (Capture::image), kept until the next capture; the updated region is
    // found while copying, at about the cost of the copy alone.
    eCopy,
    // Capture::image views the image block itself: no copy. Its rows are packed (stride =
    // width x 4) and start 13 bytes into the block, so they are not 4-byte aligned. The pixels
    // stay valid until the next request on the host (which the server overwrites, or which
    // may start a new server) and while the host lives: when the host ends or starts a new
    // server, the image loses its pixels (getBits() is null) rather than pointing into an
    // unmapped block. The updated region is the whole frame.
    eZeroCopy,
    // As eZeroCopy, but the host keeps a copy of the last frame to find the updated region:
    // one read of the block and a write of what changed.
    eZeroCopyWithRegion,
};

struct HostOptions {
    VXRect captureRect;
    // The server, a full path; empty means the server's file name in the host executable's folder.
    VXString serverPath;
    // The identifier of the named objects; empty means a fresh one. A given one must follow
    // HostCommand::checkIdentifier's rule, and objects of it must not exist yet.
    VXString guid;
    // The server answers requests without capturing (its "/ut" switch).
    bool unitTestMode = false;
    // Opt-in: the server's log (its standard error, through a pipe of this host's own) with the
    // host's own marked lines, appended to this UTF-8 file (crash dumps beside it as
    // <file>.1.dmp, ...) and/or given to the callback on the log's thread.
    VXString logPath;
    std::function<void(std::string_view line, bool fromHost)> logCallback;
    // The log file's bound (rotating to "<logPath>.1") and how many dumps are kept; 0: the
    // defaults, 16 MiB and 4. Every file is the user's only and never written through a link.
    uint64_t logMaxBytes = 0;
    uint32_t maxDumpFiles = 0;
    FrameMode frameMode = FrameMode::eCopy;
    // Opt-in: a capture that finds the server ended starts a new one (same rectangle, fresh
    // identifier, new objects): always after the idle end, after any other end at most
    // maxCrashRestartsPerMinute times within a minute.
    bool autoRestart = false;
    uint32_t maxCrashRestartsPerMinute = 3;
};

struct Capture {
    // The server's answer; the image and wait record are valid only when it succeeded.
    ResultRecord result;
    WaitRecord wait;
    // The host's copy of the captured pixels (32 bits, B,G,R,X), reused by every capture.
    std::shared_ptr<VXImage> image;
    // From the start of the call to reading the answer.
    uint64_t microseconds = 0;
    // What differs from the previous successful capture of this host, when this one succeeded:
    // rectangles in frame coordinates (0,0 is the capture rectangle's top-left) on a 32 x 32
    // grid, clipped to the frame, never overlapping; empty when nothing changed. The whole frame
    // for the first capture, after a capture that failed, after a change of frame mode and
    // after a new server. Empty when this capture failed. Each capture replaces it.
    std::vector<VXRect> updatedRegion;
};

class Host {
public:
    static constexpr uint32_t kDefaultAnswerTimeoutMs = 30000;
    // How long ending a server waits for it to be gone.
    static constexpr uint32_t kTerminateWaitMs = 2000;
    // What destroying a host may take at most, whatever a log callback does: ending the server,
    // its last lines and delivering the queue, each bounded.
    static constexpr uint32_t kCloseBoundMs =
        kTerminateWaitMs + ServerLog::kEndWaitMs + ServerLog::kCloseDrainMs + 1000;

    ~Host();  // ends a server still running; bounded by kCloseBoundMs
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    static VXResult start(const HostOptions& options, std::unique_ptr<Host>& host);
    // Starts the server with options as given, unchecked: for tests of how the server itself
    // refuses bad ones. The objects are made from whatever the options name.
    static VXResult startWithOptions(const VXString& serverPath, const VXString& serverOptions,
                                     std::unique_ptr<Host>& host, const ServerLogOptions& log = {});

    // One request. The returned result is the exchange's (2000 when an answer came; the
    // server's own outcome is in capture.result; on any other result capture is cleared:
    // no result, image, wait record or region); 2024 when no answer came within timeoutMs,
    // which bounds the whole call including the wait for an earlier request's late answer;
    // 2028 when cancel() ended it; 3001 when the server ended, with its exit code and final
    // result in the message.
    VXResult capture(const std::vector<uint64_t>& excludedWindows, bool captureCursor, Capture& capture,
                     uint32_t timeoutMs = kDefaultAnswerTimeoutMs);
    // Any thread, any time: a capture in progress returns 2028 promptly; none in progress:
    // nothing happens.
    void cancel() { _cancel.cancel(); }
    // Any thread: cancels and refuses every later capture (2028); for closing from another thread.
    void stop() { _cancel.stop(); }
    // From the next capture on, this rectangle: that capture starts a new server for it.
    VXResult setCaptureRect(const VXRect& rect);
    // Waits for the server to end; then its exit code and, when that is 10, the final result
    // it wrote (otherwise the record is left empty, code 0).
    VXResult waitForExit(uint32_t timeoutMs, uint32_t& exitCode, ResultRecord& finalResult);
    VXResult terminate();
    // Takes effect with the next capture, which then reports the whole frame if the mode changed.
    void setFrameMode(FrameMode mode);
    FrameMode frameMode() const { return _frameMode; }
    bool isRunning() const;
    // The current server's process id and identifier; both change with a restart.
    uint32_t processId() const { return _server ? _server->processId() : 0; }
    const VXString& identifier() const { return _params->guid; }
    // How many servers this host started after its first.
    uint32_t restartCount() const { return _restarts; }

    const Params& params() const { return *_params; }
    // The current server's blocks, for hosts (and tests) that write requests themselves.
    uint8_t* view(ServerInstance::Block block) const { return _server->view(block); }
    VXResult signalStart() { return _server->signalStart(); }

    // The server's final result as it stands in the result block now.
    VXResult readResultBlock(ResultRecord& record) const;

    // 2000: the log, when asked for, is always collected through the host's own pipe.
    VXResult logResult() const { return VXError::eNoError; }
    // The crash dumps written beside the log so far; waits briefly for lines still queued.
    std::vector<VXString> dumpFiles() const;
    // Whether the caller is this host's log thread, inside the log callback.
    bool isLogThread() const { return _log && _log->isDeliveryThread(); }

private:
    Host() = default;
    VXResult launch_(const VXString& serverOptions);
    VXResult restart_(const VXString& reason);
    VXResult ensureServer_();
    VXResult describeExit_(const VXSourceLocation& site, uint32_t logWaitMs);
    VXResult waitForAnswer_(uint64_t deadline, uint32_t timeoutMs);
    void logExit_(const ServerExit& exit, uint32_t logWaitMs);
    VXResult exchange_(const std::vector<uint64_t>& excludedWindows, bool captureCursor, Capture& capture,
                       uint32_t timeoutMs);
    VXResult readFrame_(bool previousKnown, Capture& capture);
    void detachBlockView_();

    std::shared_ptr<Params> _params;
    std::unique_ptr<ServerInstance> _server;
    std::shared_ptr<VXImage> _image;
    VXString _serverPath;
    bool _unitTestMode = false;
    bool _autoRestart = false;
    uint32_t _maxCrashRestarts = 0;
    std::deque<uint64_t> _crashRestarts;  // when, monotonic microseconds, within the last minute
    uint32_t _restarts = 0;
    VXRect _pendingRect;  // non-empty: the next capture starts a server for it
    bool _terminatedByHost = false;
    bool _unanswered = false;  // a request timed out before its answer came
    CancelSignal _cancel;
    std::unique_ptr<ServerLog> _log;
    FrameMode _frameMode = FrameMode::eCopy;
    FrameDiff _diff;
    bool _previousKnown = false;          // _image holds the last successful capture
    std::shared_ptr<VXImage> _blockView;  // zero-copy frames: the image block's pixels
};

}  // namespace Vistrel
