#include "LogFile.h"

#include "HostPlatform.h"
#include "ServerLogText.h"
#include "VXChecks.h"

namespace Vistrel {

LogFile::~LogFile() {
    if (_handle != -1)
        closeFile(_handle);
}

VXResult LogFile::openAppend(const VXString& path, uint64_t maxBytes, std::unique_ptr<LogFile>& file) {
    std::unique_ptr<LogFile> made(new LogFile);
    made->_path = path;
    made->_maxBytes = maxBytes != 0 ? maxBytes : kDefaultMaxBytes;
    const VXResult opened = openFile(path, false, made->_handle, made->_size);
    if (opened.isError()) {
        // Its own code: 2008 is the server not found, never the log's folder.
        return VX_RECODE(opened, VXError::eIOError, u"Server log \"%s\" cannot be opened", path);
    }
    file = std::move(made);
    return VXError::eNoError;
}

void LogFile::write(std::string_view text) {
    if (_size > 0 && _size + text.size() > _maxBytes)
        rotate_();
    if (_handle == -1)
        return;
    if (writeAll(_handle, text.data(), text.size()))
        _size += text.size();
}

VXResult LogFile::rotate_() {
    closeFile(_handle);
    _handle = -1;
    _size = 0;
    // Should the rename fail, the same file is reopened and grows (the next line tries again):
    // better than losing lines.
    replaceFile(_path, _path + VXString(u".1"));
    return openFile(_path, false, _handle, _size);
}

VXResult LogFile::writeNew(const VXString& path, const std::vector<uint8_t>& bytes) {
    intptr_t handle = -1;
    uint64_t size = 0;
    VX_RETURN_IF_ERROR(openFile(path, true, handle, size));
    const bool written = writeAll(handle, bytes.data(), bytes.size());
    closeFile(handle);
    if (!written)
        return VX_ERROR(VXError::eIOError, u"Writing \"%s\" failed", path);
    return VXError::eNoError;
}

VXResult LogFile::nextDump(const VXString& logPath, uint32_t maxDumps, uint32_t& number, uint32_t& removed) {
    const uint32_t keep = maxDumps != 0 ? maxDumps : kDefaultMaxDumps;
    uint32_t existing = 0;
    while (HostPlatform::fileExists(ServerLogText::dumpFileName(logPath, existing + 1)))
        ++existing;
    removed = existing >= keep ? existing - keep + 1 : 0;
    for (uint32_t n = 1; n <= removed; ++n)
        VX_RETURN_IF_ERROR(removeFile(ServerLogText::dumpFileName(logPath, n)));
    for (uint32_t n = removed + 1; n <= existing; ++n) {
        VX_RETURN_IF_ERROR(replaceFile(ServerLogText::dumpFileName(logPath, n),
                                       ServerLogText::dumpFileName(logPath, n - removed)));
    }
    number = existing - removed + 1;
    return VXError::eNoError;
}

}  // namespace Vistrel
