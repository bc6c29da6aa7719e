// For tests only (the host reads its server's log from its own pipe): the reader side of the
// system's debug output buffer, the documented protocol every debug-output viewer uses. A writer
// (OutputDebugString in any process of the session) waits for "DBWIN_BUFFER_READY", puts its process id and
// its text (ANSI) into the 4096-byte mapping "DBWIN_BUFFER" and sets "DBWIN_DATA_READY".
//
// Only one reader can exist in a session: when the objects already exist someone else reads,
// and opening fails with 2029 rather than taking the buffer from them. Each writer waits for
// the reader, so the loop only copies the text of the watched process out and hands it on;
// anything slow (conversion, files, callbacks) belongs to whoever receives it.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "VXResult.h"

namespace Vistrel {

class DebugOutputReader {
public:
    // Receives each message of the watched process, on the reader's thread: keep it short.
    using Sink = std::function<void(std::string&& ansiText)>;

    static constexpr uint32_t kBufferBytes = 4096;

    ~DebugOutputReader();  // stops the thread and gives the buffer back
    DebugOutputReader(const DebugOutputReader&) = delete;
    DebugOutputReader& operator=(const DebugOutputReader&) = delete;

    // Takes the buffer and starts reading; messages are dropped until watch() names a process.
    // 2029 (eInUse) when another reader holds the buffer.
    static VXResult open(Sink sink, std::unique_ptr<DebugOutputReader>& reader);
    // Passes on the messages of this process only; reading stops when it has ended. The
    // handle must stay open until stop() or the destructor.
    void watch(uint32_t processId, HANDLE process);
    // Waits until the thread has ended: after the watched process ended, every message it
    // wrote has been passed on by then.
    void waitUntilStopped(uint32_t timeoutMs);
    void stop();

    // Messages passed on, and messages of other processes seen and dropped.
    uint64_t delivered() const { return _delivered; }
    uint64_t dropped() const { return _dropped; }

private:
    DebugOutputReader() = default;
    void run_();
    void release_();  // closes the buffer's objects

    Sink _sink;
    HANDLE _bufferReady = nullptr;
    HANDLE _dataReady = nullptr;
    HANDLE _mapping = nullptr;
    const uint8_t* _view = nullptr;
    HANDLE _stop = nullptr;
    HANDLE _watchSet = nullptr;
    HANDLE _finished = nullptr;
    std::atomic<uint32_t> _processId{0};
    HANDLE _process = nullptr;
    std::atomic<uint64_t> _delivered{0};
    std::atomic<uint64_t> _dropped{0};
    std::thread _thread;
};

}  // namespace Vistrel
