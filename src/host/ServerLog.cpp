#include "ServerLog.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <utility>

#include "HostPlatform.h"
#include "LogFile.h"
#include "ServerLogText.h"
#include "VXChecks.h"
#include "VXDumpText.h"

namespace Vistrel {

struct ServerLog::State {
    struct Entry {
        std::string text;  // UTF-8, no line end; the host's lines finished with their mark
        bool fromHost = false;
        bool serverEnded = false;  // the host's last line for a server: a dump still open is cut short
    };

    ServerLogOptions options;
    std::unique_ptr<LogFile> file;

    mutable std::mutex lock;
    std::condition_variable changed;
    std::deque<Entry> queue;
    uint64_t queued = 0;
    uint64_t delivered = 0;
    uint64_t lost = 0;            // refused by a full queue, not yet reported
    bool stopping = false;        // the delivery thread ends when the queue is empty
    bool closed = false;          // no more callbacks, no more file writes from the threads
    uint32_t readersRunning = 0;  // one per server; an old one may still be finishing
    bool ended = false;
    std::thread::id deliveryThread;
    std::vector<uint32_t> dumps;  // the numbers of this log's dumps, oldest first

    std::mutex fileLock;  // the delivery thread and the closing thread both write the file

    // Delivery thread only.
    VXDumpText::Scanner scanner;

    void enqueue(Entry&& entry) {
        {
            std::lock_guard<std::mutex> guard(lock);
            if (closed || queue.size() >= kMaxQueued) {
                ++lost;
                return;
            }
            queue.push_back(std::move(entry));
            ++queued;
        }
        changed.notify_all();
    }

    void writeFile(const std::string& text) {
        std::lock_guard<std::mutex> guard(fileLock);
        if (file && !text.empty() && !isClosed())
            file->write(text);
    }

    bool isClosed() const {
        std::lock_guard<std::mutex> guard(lock);
        return closed;
    }

    // The file part of one line: the line itself and, for the server's lines, dump blocks.
    void fileLine(std::string_view line, bool fromHost, std::string& batch,
                  std::vector<std::pair<std::string, bool>>& calls) {
        if (file)
            batch.append(line).append(1, '\n');
        calls.emplace_back(std::string(line), fromHost);
        if (!file || fromHost)
            return;
        // A record may hold several lines; the dump markers are whole lines.
        for (size_t start = 0; start <= line.size();) {
            size_t end = line.find('\n', start);
            if (end == std::string_view::npos)
                end = line.size();
            VXDumpText::Block block;
            if (scanner.addLine(line.substr(start, end - start), block))
                writeDump(block, batch, calls);
            start = end + 1;
        }
    }

    void writeDump(const VXDumpText::Block& block, std::string& batch,
                   std::vector<std::pair<std::string, bool>>& calls) {
        std::vector<uint8_t> dump;
        VXResult done = VXDumpText::decodeBlock(block, dump);
        uint32_t number = 0;
        uint32_t removed = 0;
        if (done.isSuccess())
            done = LogFile::nextDump(options.path, options.maxDumps, number, removed);
        if (removed > 0) {
            std::lock_guard<std::mutex> guard(lock);
            std::vector<uint32_t> kept;
            for (const uint32_t n : dumps) {
                if (n > removed)
                    kept.push_back(n - removed);
            }
            dumps = std::move(kept);
        }
        const VXString path = ServerLogText::dumpFileName(options.path, number);
        if (done.isSuccess())
            done = LogFile::writeNew(path, dump);
        VXString text;
        if (done.isSuccess()) {
            text = vxFormat(u"Crash dump written to %s (%u bytes)", path, static_cast<uint32_t>(dump.size()));
            if (removed > 0)
                text.appendFormat(u"; %u older dump(s) removed, at most %u kept", removed,
                                  options.maxDumps != 0 ? options.maxDumps : LogFile::kDefaultMaxDumps);
            std::lock_guard<std::mutex> guard(lock);
            dumps.push_back(number);
        } else {
            text = vxFormat(u"Crash dump not written: (%d) %s", done.code(), done.message());
        }
        // The note follows the block's last line, before anything the server writes after it.
        fileLine(ServerLogText::hostLine(text), true, batch, calls);
    }

    void deliveryLoop() {
        std::unique_lock<std::mutex> guard(lock);
        for (;;) {
            changed.wait(guard, [this] { return !queue.empty() || stopping; });
            if (queue.empty() || closed)
                break;
            std::deque<Entry> entries;
            entries.swap(queue);
            const uint64_t lostNow = std::exchange(lost, 0);
            guard.unlock();

            std::string batch;
            std::vector<std::pair<std::string, bool>> calls;
            if (lostNow != 0) {
                fileLine(ServerLogText::hostLine(vxFormat(u"%u log lines were lost: the log fell behind",
                                                          static_cast<uint32_t>(lostNow))),
                         true, batch, calls);
            }
            for (const Entry& entry : entries) {
                VXDumpText::Block unfinished;
                if (entry.serverEnded && file && scanner.finish(unfinished))
                    writeDump(unfinished, batch, calls);  // the server died while writing it
                fileLine(entry.text, entry.fromHost, batch, calls);
            }
            // The file first: a callback that blocks must not keep lines from it.
            writeFile(batch);
            for (const auto& [line, fromHost] : calls) {
                if (options.callback) {
                    if (isClosed())
                        break;
                    options.callback(line, fromHost);
                }
            }
            guard.lock();
            delivered += entries.size();
            changed.notify_all();
        }
    }

    void readLoop(std::unique_ptr<LogPipe> pipe) {
        std::string record;
        for (bool ended = false; !ended;) {
            if (pipe->readRecord(record, ended).isError())
                break;
            if (!record.empty())
                enqueue(Entry{std::move(record), false});
            record.clear();
        }
        std::lock_guard<std::mutex> guard(lock);
        --readersRunning;
        changed.notify_all();
    }
};

VXResult ServerLog::open(const ServerLogOptions& options, std::unique_ptr<ServerLog>& log) {
    VX_CHECK_PARAM(options.wanted());
    std::unique_ptr<ServerLog> l(new ServerLog);
    l->_state = std::make_shared<State>();
    l->_state->options = options;
    if (!options.path.isEmpty())
        VX_RETURN_IF_ERROR(LogFile::openAppend(options.path, options.maxBytes, l->_state->file));
    // The thread holds the state: should a callback outlast close, what it touches stays alive.
    std::shared_ptr<State> state = l->_state;
    std::thread delivery([state] { state->deliveryLoop(); });
    {
        std::lock_guard<std::mutex> guard(state->lock);
        state->deliveryThread = delivery.get_id();
    }
    delivery.detach();
    log = std::move(l);
    return VXError::eNoError;
}

ServerLog::~ServerLog() {
    State& s = *_state;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kCloseDrainMs);
    std::unique_lock<std::mutex> guard(s.lock);
    s.changed.wait_until(guard, deadline, [&s] { return s.readersRunning == 0 && s.delivered == s.queued; });
    const uint64_t dropped = s.queued - s.delivered + s.lost;
    s.stopping = true;
    s.changed.notify_all();
    guard.unlock();
    if (dropped != 0) {
        // Written here, since the delivery thread may be held by a callback.
        const std::string last = ServerLogText::hostLine(vxFormat(
            u"%u log lines were not delivered: the log callback had not returned within %u ms of close",
            static_cast<uint32_t>(dropped), kCloseDrainMs));
        std::lock_guard<std::mutex> fileGuard(s.fileLock);
        if (s.file)
            s.file->write(last + "\n");
    }
    {
        // From here on the threads neither write nor call back; whatever they hold, they hold
        // through their own reference to the state.
        std::lock_guard<std::mutex> fileGuard(s.fileLock);
        std::lock_guard<std::mutex> stateGuard(s.lock);
        s.closed = true;
    }
    s.changed.notify_all();
}

void ServerLog::readFrom(std::unique_ptr<LogPipe> pipe) {
    std::shared_ptr<State> state = _state;
    {
        std::lock_guard<std::mutex> guard(state->lock);
        ++state->readersRunning;
        state->ended = false;
    }
    std::thread([state, p = std::move(pipe)]() mutable { state->readLoop(std::move(p)); }).detach();
}

void ServerLog::hostLine(const VXString& text) {
    _state->enqueue(State::Entry{ServerLogText::hostLine(text), true});
}

void ServerLog::serverEnded(const VXString& text, uint32_t waitMs) {
    State& s = *_state;
    {
        std::unique_lock<std::mutex> guard(s.lock);
        if (s.ended)
            return;
        s.ended = true;
        s.changed.wait_for(guard, std::chrono::milliseconds(std::min(waitMs, kEndWaitMs)),
                           [&s] { return s.readersRunning == 0; });
    }
    s.enqueue(State::Entry{ServerLogText::hostLine(text), true, true});
}

bool ServerLog::hasEnded() const {
    std::lock_guard<std::mutex> guard(_state->lock);
    return _state->ended;
}

bool ServerLog::drain(uint32_t timeoutMs) {
    State& s = *_state;
    std::unique_lock<std::mutex> guard(s.lock);
    return s.changed.wait_for(guard, std::chrono::milliseconds(timeoutMs),
                              [&s] { return s.delivered == s.queued; });
}

std::vector<VXString> ServerLog::dumpFiles() const {
    std::lock_guard<std::mutex> guard(_state->lock);
    std::vector<VXString> paths;
    for (const uint32_t n : _state->dumps)
        paths.push_back(ServerLogText::dumpFileName(_state->options.path, n));
    return paths;
}

bool ServerLog::isDeliveryThread() const {
    std::lock_guard<std::mutex> guard(_state->lock);
    return _state->deliveryThread == std::this_thread::get_id();
}

}  // namespace Vistrel
