// Vistrel::LogFile: the collected log's file, opened for appending, and the crash dumps written
// beside it. Every file is created for the current user only (Windows: a protected DACL for the
// user and SYSTEM; Linux: mode 0600) and never opened through a link (a symbolic link or another
// reparse point is refused with a text saying so). The log is bounded: a line that would take it
// beyond its size moves it to "<path>.1" (replacing an older one) and starts it afresh; the dumps
// beside it are bounded in number, the newest kept. The portable part (LogFile.cpp) holds those
// rules; each platform half (win32/, posix/) opens, writes, renames and removes. The writer is the
// log's own thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "VXResult.h"
#include "VXString.h"

namespace Vistrel {

class LogFile {
public:
    static constexpr uint64_t kDefaultMaxBytes = 16ull * 1024 * 1024;
    static constexpr uint32_t kDefaultMaxDumps = 4;

    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // Creates the file when missing; a folder that does not exist, a file that cannot be
    // written or a link is 2010 (eIOError) with the system's error or the refusal in the text.
    // maxBytes 0: kDefaultMaxBytes.
    static VXResult openAppend(const VXString& path, uint64_t maxBytes, std::unique_ptr<LogFile>& file);
    // Appends, rotating first when the text would take the file beyond its bound (a text is
    // never split, so one longer than the bound fills a file of its own). A failed write is
    // dropped: the log must never stop the host.
    void write(std::string_view text);
    // A new file holding bytes, the user's only; one that exists already (or a link) is never
    // written through.
    static VXResult writeNew(const VXString& path, const std::vector<uint8_t>& bytes);
    // Makes room for the next crash dump beside logPath, keeping at most maxDumps (0: the
    // default) counting the new one: the dumps are "<logPath>.1.dmp" up to ".N.dmp", oldest
    // first; the oldest are removed and the rest renumbered down. number receives the new
    // dump's, removed how many old ones went (each later one's number fell by as much).
    static VXResult nextDump(const VXString& logPath, uint32_t maxDumps, uint32_t& number, uint32_t& removed);

private:
    LogFile() = default;
    VXResult rotate_();

    // The platform half.
    static VXResult openFile(const VXString& path, bool createNew, intptr_t& handle, uint64_t& size);
    static bool writeAll(intptr_t handle, const void* data, size_t size);
    static void closeFile(intptr_t handle);
    static VXResult replaceFile(const VXString& from, const VXString& to);
    static VXResult removeFile(const VXString& path);

    VXString _path;
    uint64_t _maxBytes = kDefaultMaxBytes;
    uint64_t _size = 0;
    intptr_t _handle = -1;
};

}  // namespace Vistrel
