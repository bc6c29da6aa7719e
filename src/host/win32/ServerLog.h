// Collects the server's debug output for the host: the reader hands each message of the
// server's process over, and a writer thread of its own converts it to UTF-8, appends it to
// the log file as one line, gives it to the host's callback, and turns every complete crash
// dump block into a .dmp file beside the log. The host adds its own marked lines (start,
// failed answers, the end) through the same queue, so the file reads in order.
#pragma once

#include <windows.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "DebugOutputReader.h"
#include "VXDumpText.h"
#include "VXResult.h"
#include "VXString.h"

namespace Vistrel {

struct ServerLogOptions {
    // Appended to (created when missing), UTF-8; empty: no file and no dumps.
    VXString path;
    // Every line, the server's and the host's, on the log's own thread.
    std::function<void(std::string_view line, bool fromHost)> callback;

    bool wanted() const { return !path.isEmpty() || callback != nullptr; }
};

class ServerLog {
public:
    // Longest wait for the server's last lines and their writing once it has ended.
    static constexpr uint32_t kDrainTimeoutMs = 30000;

    ~ServerLog();
    ServerLog(const ServerLog&) = delete;
    ServerLog& operator=(const ServerLog&) = delete;

    // Fails only when the file cannot be opened. That the debug output buffer is held by
    // another reader is no failure here: readerResult() says so and only the host's lines
    // are written.
    static VXResult open(const ServerLogOptions& options, std::unique_ptr<ServerLog>& log);

    // 2000 while the server's output is collected; 2029 with the reason when it is not.
    const VXResult& readerResult() const { return _readerResult; }
    void watch(uint32_t processId, HANDLE process);
    void hostLine(const VXString& text);
    // Once the server has ended: its last messages, then this line, all written on return.
    void serverEnded(const VXString& text);
    bool hasEnded() const { return _ended; }
    // The .dmp files written so far, in order.
    std::vector<VXString> dumpFiles() const;
    // Messages of other processes the reader saw and left out.
    uint64_t otherProcessMessages() const { return _reader ? _reader->dropped() : 0; }

private:
    struct Entry {
        std::string text;  // the server's ANSI text, or the host's finished UTF-8 line
        bool fromHost = false;
        bool serverEnded = false;  // the host's last line: a dump still open is cut short
    };

    ServerLog() = default;
    void enqueue_(Entry&& entry);
    void drain_(uint32_t timeoutMs);
    void writerLoop_();
    void writeLine_(std::string_view line, bool fromHost, std::string& batch);
    void writeDump_(const VXDumpText::Block& block, std::string& batch);
    void flushBatch_(std::string& batch);

    ServerLogOptions _options;
    HANDLE _file = nullptr;
    VXResult _readerResult = VXError::eNoError;
    std::unique_ptr<DebugOutputReader> _reader;
    bool _ended = false;

    mutable std::mutex _lock;
    std::condition_variable _changed;
    std::deque<Entry> _queue;
    uint64_t _queued = 0;
    uint64_t _written = 0;
    uint64_t _lost = 0;
    bool _stopping = false;
    std::vector<VXString> _dumps;
    std::thread _writer;

    // Writer thread only.
    VXDumpText::Scanner _scanner;
};

// The file version of a program as "a.b.c.d", or "none" when it has no version resource.
VXString programVersion(const VXString& path);

}  // namespace Vistrel
