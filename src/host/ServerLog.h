// Vistrel::ServerLog: the log a host collects for its own server. A reader thread takes the
// server's lines from its log pipe (the server's standard error); a delivery thread appends each
// line to the log file, turns every complete crash dump block into a .dmp file beside it and
// gives the line to the host's callback. The host adds its own marked lines through the same
// queue, so that the file reads in order.
//
// Bounds. Queueing never blocks: beyond kMaxQueued waiting lines, lines are counted as lost and
// the next delivered line says how many. Waits for the server's last lines are bounded
// (kEndWaitMs), and closing gives the queue kCloseDrainMs; lines still undelivered then are
// counted as dropped, the file's last line says how many, and a callback still running is left
// to return on its own thread (the state it uses stays alive until it does).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <thread>
#include <vector>

#include "LogPipe.h"
#include "VXResult.h"
#include "VXString.h"

namespace Vistrel {

struct ServerLogOptions {
    // Appended to (created when missing), UTF-8; empty: no file and no dumps.
    VXString path;
    // The file's bound: beyond it the file moves to "<path>.1" and starts afresh (0: 16 MiB);
    // and how many crash dumps are kept beside it, the newest (0: 4).
    uint64_t maxBytes = 0;
    uint32_t maxDumps = 0;
    // Every line, the server's and the host's, on the log's delivery thread.
    std::function<void(std::string_view line, bool fromHost)> callback;

    bool wanted() const { return !path.isEmpty() || callback != nullptr; }
};

class ServerLog {
public:
    static constexpr size_t kMaxQueued = 100000;
    // How long the end of a server waits for its last lines to arrive through the pipe.
    static constexpr uint32_t kEndWaitMs = 2000;
    // How long closing waits for the queue to be delivered.
    static constexpr uint32_t kCloseDrainMs = 2000;

    // Bounded: see above. Never call from the callback (the Host refuses that).
    ~ServerLog();
    ServerLog(const ServerLog&) = delete;
    ServerLog& operator=(const ServerLog&) = delete;

    // Fails only when the file cannot be opened (2010 with the system's error).
    static VXResult open(const ServerLogOptions& options, std::unique_ptr<ServerLog>& log);

    // Reads one server's lines from its pipe until the pipe ends. A reader of an earlier server
    // must have ended (serverEnded waited for it).
    void readFrom(std::unique_ptr<LogPipe> pipe);
    void hostLine(const VXString& text);
    // Once the server has ended: waits up to waitMs (at most kEndWaitMs) for its last lines,
    // then queues this one. Once per server; readFrom starts the next.
    void serverEnded(const VXString& text, uint32_t waitMs = kEndWaitMs);
    bool hasEnded() const;
    // Waits up to timeoutMs until every queued line is delivered.
    bool drain(uint32_t timeoutMs);
    // The .dmp files written so far, in order.
    std::vector<VXString> dumpFiles() const;
    // Whether the caller is the delivery thread (a callback calling back into the host).
    bool isDeliveryThread() const;

private:
    struct State;
    ServerLog() = default;

    std::shared_ptr<State> _state;
};

}  // namespace Vistrel
