#include "ServerLog.h"

#include <utility>

#include "ServerLogText.h"
#include "VXChecks.h"

namespace Vistrel {

namespace {

// Far beyond any dump's line count; a writer that falls this far behind loses lines rather
// than the host's memory.
constexpr size_t kMaxQueued = 1000000;
constexpr DWORD kVersionSignature = 0xFEEF04BD;

// The buffer carries the writer's text in the system's ANSI code page.
std::string ansiToUtf8(const std::string& ansi) {
    if (ansi.empty())
        return std::string();
    const int wide = MultiByteToWideChar(CP_ACP, 0, ansi.data(), static_cast<int>(ansi.size()), nullptr, 0);
    std::wstring text(static_cast<size_t>(wide), L'\0');
    MultiByteToWideChar(CP_ACP, 0, ansi.data(), static_cast<int>(ansi.size()), text.data(), wide);
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text.data(), wide, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), wide, utf8.data(), bytes, nullptr, nullptr);
    return utf8;
}

// The server ends each log line with a message of its own that holds only the line end.
std::string_view withoutLineEnd(std::string_view text) {
    if (!text.empty() && text.back() == '\n')
        text.remove_suffix(1);
    if (!text.empty() && text.back() == '\r')
        text.remove_suffix(1);
    return text;
}

bool fileExists(const VXString& path) {
    return GetFileAttributesW(path.wstr()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace

VXString programVersion(const VXString& path) {
    HMODULE image = LoadLibraryExW(path.wstr(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    if (image == nullptr)
        return VXString(u"none");
    VXString version(u"none");
    HRSRC resource = FindResourceW(image, MAKEINTRESOURCEW(VS_VERSION_INFO), MAKEINTRESOURCEW(16));
    HGLOBAL loaded = resource != nullptr ? LoadResource(image, resource) : nullptr;
    const auto* data = static_cast<const uint8_t*>(loaded != nullptr ? LockResource(loaded) : nullptr);
    const DWORD size = resource != nullptr ? SizeofResource(image, resource) : 0;
    for (DWORD offset = 0; data != nullptr && offset + sizeof(VS_FIXEDFILEINFO) <= size; offset += 4) {
        const auto* info = reinterpret_cast<const VS_FIXEDFILEINFO*>(data + offset);
        if (info->dwSignature == kVersionSignature) {
            version = vxFormat(u"%u.%u.%u.%u", HIWORD(info->dwFileVersionMS), LOWORD(info->dwFileVersionMS),
                               HIWORD(info->dwFileVersionLS), LOWORD(info->dwFileVersionLS));
            break;
        }
    }
    FreeLibrary(image);
    return version;
}

VXResult ServerLog::open(const ServerLogOptions& options, std::unique_ptr<ServerLog>& log) {
    VX_CHECK_PARAM(options.wanted());
    std::unique_ptr<ServerLog> l(new ServerLog);
    l->_options = options;
    if (!options.path.isEmpty()) {
        l->_file = CreateFileW(options.path.wstr(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                               nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (l->_file == INVALID_HANDLE_VALUE) {
            l->_file = nullptr;
            VXResult failed = VX_WIN32_ERROR(u"CreateFile");
            failed.addContext(u"Server log \"%s\" cannot be opened", options.path);
            return failed;
        }
    }
    ServerLog* self = l.get();
    l->_writer = std::thread([self] { self->writerLoop_(); });
    l->_readerResult = DebugOutputReader::open(
        [self](std::string&& text) {
            self->enqueue_(Entry{std::move(text), false});
        },
        l->_reader);
    if (l->_readerResult.isError())
        l->hostLine(l->_readerResult.message());
    log = std::move(l);
    return VXError::eNoError;
}

ServerLog::~ServerLog() {
    _reader.reset();
    {
        std::lock_guard<std::mutex> guard(_lock);
        _stopping = true;
    }
    _changed.notify_all();
    if (_writer.joinable())
        _writer.join();
    if (_file != nullptr)
        CloseHandle(_file);
}

void ServerLog::watch(uint32_t processId, HANDLE process) {
    if (_reader)
        _reader->watch(processId, process);
}

void ServerLog::hostLine(const VXString& text) {
    enqueue_(Entry{ServerLogText::hostLine(text), true});
}

void ServerLog::serverEnded(const VXString& text) {
    if (_ended)
        return;
    _ended = true;
    if (_reader)
        _reader->waitUntilStopped(kDrainTimeoutMs);
    enqueue_(Entry{ServerLogText::hostLine(text), true, true});
    drain_(kDrainTimeoutMs);
}

std::vector<VXString> ServerLog::dumpFiles() const {
    std::lock_guard<std::mutex> guard(_lock);
    return _dumps;
}

void ServerLog::enqueue_(Entry&& entry) {
    {
        std::lock_guard<std::mutex> guard(_lock);
        if (_queue.size() >= kMaxQueued) {
            ++_lost;
            return;
        }
        _queue.push_back(std::move(entry));
        ++_queued;
    }
    _changed.notify_all();
}

void ServerLog::drain_(uint32_t timeoutMs) {
    std::unique_lock<std::mutex> guard(_lock);
    _changed.wait_for(guard, std::chrono::milliseconds(timeoutMs), [this] { return _written == _queued; });
}

void ServerLog::writerLoop_() {
    std::unique_lock<std::mutex> guard(_lock);
    for (;;) {
        _changed.wait(guard, [this] { return !_queue.empty() || _stopping; });
        if (_queue.empty())
            return;
        std::deque<Entry> entries;
        entries.swap(_queue);
        const uint64_t lost = std::exchange(_lost, 0);
        guard.unlock();

        std::string batch;
        if (lost != 0) {
            writeLine_(
                ServerLogText::hostLine(vxFormat(u"%u messages of the server were lost: the log fell behind",
                                                 static_cast<uint32_t>(lost))),
                true, batch);
        }
        for (const Entry& entry : entries) {
            VXDumpText::Block unfinished;
            if (entry.fromHost && entry.serverEnded && _scanner.finish(unfinished))
                writeDump_(unfinished, batch);  // the server died while writing it
            if (entry.fromHost) {
                writeLine_(entry.text, true, batch);
                continue;
            }
            const std::string utf8 = ansiToUtf8(entry.text);
            const std::string_view line = withoutLineEnd(utf8);
            if (!line.empty())
                writeLine_(line, false, batch);
        }
        flushBatch_(batch);

        guard.lock();
        _written += entries.size();
        _changed.notify_all();
    }
}

void ServerLog::writeLine_(std::string_view line, bool fromHost, std::string& batch) {
    if (_file != nullptr) {
        batch.append(line);
        batch += '\n';
    }
    if (_options.callback)
        _options.callback(line, fromHost);
    if (_file == nullptr || fromHost)
        return;
    size_t start = 0;
    while (start <= line.size()) {
        size_t end = line.find('\n', start);
        if (end == std::string_view::npos)
            end = line.size();
        VXDumpText::Block block;
        if (_scanner.addLine(line.substr(start, end - start), block))
            writeDump_(block, batch);
        start = end + 1;
    }
}

void ServerLog::writeDump_(const VXDumpText::Block& block, std::string& batch) {
    std::vector<uint8_t> dump;
    VXResult decoded = VXDumpText::decodeBlock(block, dump);
    VXString path;
    for (uint32_t number = 1; decoded.isSuccess(); ++number) {
        path = ServerLogText::dumpFileName(_options.path, number);
        if (!fileExists(path))
            break;
    }
    if (decoded.isSuccess()) {
        const HANDLE file =
            CreateFileW(path.wstr(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
        DWORD done = 0;
        if (file == INVALID_HANDLE_VALUE) {
            decoded = VX_WIN32_ERROR(u"CreateFile");
        } else {
            if (!WriteFile(file, dump.data(), static_cast<DWORD>(dump.size()), &done, nullptr) ||
                done != dump.size())
                decoded = VX_WIN32_ERROR(u"WriteFile");
            CloseHandle(file);
        }
    }
    VXString text;
    if (decoded.isSuccess()) {
        text = vxFormat(u"Crash dump written to %s (%u bytes)", path, static_cast<uint32_t>(dump.size()));
        std::lock_guard<std::mutex> guard(_lock);
        _dumps.push_back(path);
    } else {
        text = vxFormat(u"Crash dump not written: (%d) %s", decoded.code(), decoded.message());
    }
    // The note follows the block's last line, before anything the server writes after it.
    flushBatch_(batch);
    writeLine_(ServerLogText::hostLine(text), true, batch);
}

void ServerLog::flushBatch_(std::string& batch) {
    if (_file != nullptr && !batch.empty()) {
        DWORD done = 0;
        WriteFile(_file, batch.data(), static_cast<DWORD>(batch.size()), &done, nullptr);
    }
    batch.clear();
}

}  // namespace Vistrel
