// Vistrel::Host: drives one capture server from the host's side. It creates the server's
// named objects, starts Vistrel.exe with the matching command line, and turns one request
// (windows to leave out, cursor flag) into the server's answer: result, image and wait record.
// Every wait for an answer also watches the server process, so a dead server is reported at
// once instead of after a time-out.
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "FrameDiff.h"
#include "SecuredObjects.h"
#include "ServerLog.h"
#include "VXImage.h"
#include "VXRect.h"
#include "VXResult.h"
#include "VistrelParams.h"
#include "VistrelRecords.h"
#include "VistrelSharedObjects.h"

namespace Vistrel {

// Where a capture's pixels are and whether its updated region is worked out.
enum class FrameMode {
    // The host's own copy (Capture::image), kept until the next capture; the updated region is
    // found while copying, at about the cost of the copy alone.
    eCopy,
    // Capture::image views the image block itself: no copy. Its rows are packed (stride =
    // width x 4) and start 13 bytes into the block, so they are not 4-byte aligned. The pixels
    // stay valid until the next request on the host (which the server overwrites) and while
    // the host lives. The updated region is always the whole frame.
    eZeroCopy,
    // As eZeroCopy, but the host keeps a copy of the last frame to find the updated region:
    // one read of the block and a write of what changed.
    eZeroCopyWithRegion,
};

struct HostOptions {
    VXRect captureRect;
    // Vistrel.exe; empty means "Vistrel.exe" in the host executable's folder.
    VXString serverPath;
    // The identifier of the named objects; empty means a fresh one.
    VXString guid;
    // The server answers requests without capturing (its "/ut" switch).
    bool unitTestMode = false;
    // Opt-in: the server's debug output, with the host's own marked lines, appended to this
    // UTF-8 file (crash dumps beside it as <file>.1.dmp, ...) and/or given to the callback.
    VXString logPath;
    std::function<void(std::string_view line, bool fromHost)> logCallback;
    FrameMode frameMode = FrameMode::eCopy;
};

struct Capture {
    // The server's answer; the image and wait record are valid only when it succeeded.
    ResultRecord result;
    WaitRecord wait;
    // The host's copy of the captured pixels (32 bits, B,G,R,X), reused by every capture.
    std::shared_ptr<VXImage> image;
    // From setting the start event to reading the answer.
    uint64_t microseconds = 0;
    // What differs from the previous successful capture of this host, when this one succeeded:
    // rectangles in frame coordinates (0,0 is the capture rectangle's top-left) on a 32 x 32
    // grid, clipped to the frame, never overlapping; empty when nothing changed. The whole frame
    // for the first capture, after a capture that failed and after a change of frame mode.
    // Empty when this capture failed. The Capture owns it; each capture replaces it.
    std::vector<VXRect> updatedRegion;
};

class Host {
public:
    static constexpr uint32_t kDefaultAnswerTimeoutMs = 30000;

    ~Host();  // a server still running is terminated: nobody would ask it for anything
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    static VXResult start(const HostOptions& options, std::unique_ptr<Host>& host);
    // Starts the server with options as given, unchecked: for tests of how the server itself
    // refuses bad ones. The objects are made from whatever the options name.
    static VXResult startWithOptions(const VXString& serverPath, const VXString& serverOptions,
                                     std::unique_ptr<Host>& host, const ServerLogOptions& log = {});

    // One request. The returned result is the exchange's (2000 when an answer came; the
    // server's own outcome is in capture.result); 2024 when no answer came in time, 3001
    // when the server ended, with its exit code and final result in the message.
    VXResult capture(const std::vector<uint64_t>& excludedWindows, bool captureCursor, Capture& capture,
                     uint32_t timeoutMs = kDefaultAnswerTimeoutMs);
    // Waits for the server to end; then its exit code and, when that is 10, the final result
    // it wrote (otherwise the record is left empty, code 0).
    VXResult waitForExit(uint32_t timeoutMs, uint32_t& exitCode, ResultRecord& finalResult);
    VXResult terminate();
    // Takes effect with the next capture, which then reports the whole frame. Like every call
    // on a host, never while another call on the same host runs.
    void setFrameMode(FrameMode mode);
    FrameMode frameMode() const { return _frameMode; }
    bool isRunning() const;
    uint32_t processId() const { return _processId; }

    const Params& params() const { return *_params; }
    // The named objects, for hosts (and tests) that write requests themselves.
    const std::shared_ptr<SharedObjects>& sharedObjects() const { return _objects; }

    // The server's final result as it stands in the result block now.
    VXResult readResultBlock(ResultRecord& record) const;

    // Whether the server's log is collected: 2000 when it is (or was not asked for), 2029
    // with the reason when another reader holds the debug output.
    VXResult logResult() const;
    // The crash dumps written beside the log so far.
    std::vector<VXString> dumpFiles() const;

private:
    Host() = default;
    VXResult describeExit_(const VXSourceLocation& site);
    VXResult waitForAnswer_(uint32_t timeoutMs);
    void logExit_(uint32_t exitCode);
    VXResult readFrame_(bool previousKnown, Capture& capture);

    std::shared_ptr<Params> _params;
    std::unique_ptr<SecuredObjects> _secured;
    std::shared_ptr<SharedObjects> _objects;
    std::shared_ptr<VXImage> _image;
    HANDLE _process = nullptr;
    uint32_t _processId = 0;
    bool _unanswered = false;  // a request timed out before its answer came
    std::unique_ptr<ServerLog> _log;
    FrameMode _frameMode = FrameMode::eCopy;
    FrameDiff _diff;
    bool _previousKnown = false;          // _image holds the last successful capture
    std::shared_ptr<VXImage> _blockView;  // zero-copy frames: the image block's pixels
};

// The folder of the running executable, with a trailing backslash.
VXString executableFolder();
// The folder part of a path, with its trailing separator; empty for a bare name.
VXString folderOf(const VXString& path);

}  // namespace Vistrel
