#include "VistrelHost.h"

#include <utility>
#include "SecuredObjects.h"

#include "SerializeUtils.h"
#include "ServerLogText.h"
#include "VXChecks.h"
#include "VXCrashDebug.h"
#include "VXPlatform.h"
#include "VistrelExchange.h"
#include "VistrelHostCommand.h"

namespace Vistrel {

namespace {

constexpr uint32_t kModulePathChars = 32768;
constexpr uint32_t kTerminateExitCode = 0xDEAD;
// How long the destructor waits for a terminated server to be gone.
constexpr DWORD kTerminateWaitMs = 5000;
constexpr uint32_t kExitResultWritten = 10;
// Exit codes from here up say the server died of an exception.
constexpr uint32_t kFirstExceptionCode = 0xC0000000u;

}  // namespace

VXString folderOf(const VXString& path) {
    int32_t cut = -1;
    for (int32_t i = 0; i < static_cast<int32_t>(path.length()); ++i) {
        if (path[i] == u'\\' || path[i] == u'/')
            cut = i;
    }
    VXString folder;
    path.substr(0, cut + 1, folder);
    return folder;
}

VXString executableFolder() {
    VXString path;
    wchar_t* buffer = reinterpret_cast<wchar_t*>(path.getWritableBuffer(kModulePathChars - 1));
    if (buffer == nullptr)
        return VXString();
    const DWORD n = GetModuleFileNameW(nullptr, buffer, kModulePathChars - 1);
    path.releaseWritableBuffer(static_cast<int32_t>(n));
    return folderOf(path);
}

Host::~Host() {
    if (_process != nullptr) {
        if (isRunning() && TerminateProcess(_process, kTerminateExitCode)) {
            WaitForSingleObject(_process, kTerminateWaitMs);
        }
        DWORD exitCode = 0;
        if (_log && GetExitCodeProcess(_process, &exitCode))
            logExit_(exitCode);
        _log.reset();  // before the handle it watches goes
        CloseHandle(_process);
    }
}

VXResult Host::start(const HostOptions& options, std::unique_ptr<Host>& host) {
    VX_CHECK_PARAM(!options.captureRect.isEmpty());
    const VXString guid = options.guid.isEmpty() ? HostCommand::newGuid() : options.guid;
    VXString serverPath = options.serverPath;
    if (serverPath.isEmpty())
        serverPath = executableFolder() + VXString(u"Vistrel.exe");
    VXString serverOptions;
    VX_RETURN_IF_ERROR(
        Params::makeCommandLine(options.captureRect, guid.c_str(), options.unitTestMode, serverOptions));
    ServerLogOptions log;
    log.path = options.logPath;
    log.callback = options.logCallback;
    VX_RETURN_IF_ERROR(startWithOptions(serverPath, serverOptions, host, log));
    host->_frameMode = options.frameMode;
    return VXError::eNoError;
}

VXResult Host::startWithOptions(const VXString& serverPath, const VXString& serverOptions,
                                std::unique_ptr<Host>& host, const ServerLogOptions& log) {
    VXString commandLine;
    VX_RETURN_IF_ERROR(HostCommand::join(serverPath, serverOptions, commandLine));
    if (GetFileAttributesW(serverPath.wstr()) == INVALID_FILE_ATTRIBUTES) {
        VXResult missing = VX_WIN32_ERROR(u"GetFileAttributes");
        missing.addContext(u"Server \"%s\" not found", serverPath);
        return missing;
    }
    std::unique_ptr<Host> h(new Host);
    VX_RETURN_IF_ERROR(Params::create(serverOptions.c_str(), kEventStartPrefix, kEventCompletedPrefix,
                                      kExclWndsPrefix, kCaptureCursorPrefix, kImagePrefix, kWaitResultPrefix,
                                      kResultPrefix, h->_params));
    // The host makes the objects first, with its own security, so that a request can be
    // written before the server runs and no other account or lower level can reach them.
    VX_RETURN_IF_ERROR(SecuredObjects::create(*h->_params, h->_secured));
    VX_RETURN_IF_ERROR(SharedObjects::create(*h->_params, h->_objects));
    for (const auto& event : {h->_objects->eventStart, h->_objects->eventCompleted}) {
        if (event->handle() == nullptr) {
            return VX_ERROR(VXError::eNotInitialized, u"Event \"%s\" could not be created", event->name());
        }
        // Objects of a reused identifier may hold a signal nobody consumed: a left-over
        // "Completed_" would pass for the answer to the first request.
        VX_RETURN_IF_ERROR(event->reset());
    }
    // An empty request, so that a start signal without one is harmless.
    SerializeUtils::writeWindowList(h->_objects->shMemExclWnds->view, kExclWndsBlockSize, {});
    SerializeUtils::writeBool(h->_objects->shMemCaptureCursor->view, false);

    const VXRect& rect = h->_params->captureRect;
    if (rect.getWidth() > 0 && rect.getHeight() > 0) {
        VX_RETURN_IF_ERROR(VXImage::create(rect.getWidth(), rect.getHeight(), 32, h->_image));
        VX_RETURN_IF_ERROR(h->_image->allocate());
    }

    // Open before the server starts, so that its first line is not missed.
    if (log.wanted())
        VX_RETURN_IF_ERROR(ServerLog::open(log, h->_log));

    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    // CreateProcessW may write into the command line.
    std::wstring writable(commandLine.wstr());
    // The server runs in its own folder: a library it loads by name must never come from
    // whatever folder the host happens to be in.
    const VXString folder = folderOf(serverPath);
    // With a log, the server waits until the reader knows its process id.
    const DWORD flags = h->_log ? CREATE_SUSPENDED : 0;
    if (!CreateProcessW(serverPath.wstr(), writable.data(), nullptr, nullptr, FALSE, flags, nullptr,
                        folder.isEmpty() ? nullptr : folder.wstr(), &startup, &process)) {
        const VXResult failed = VX_WIN32_ERROR(u"CreateProcess");
        if (h->_log)
            h->_log->hostLine(vxFormat(u"Server not started: (%d) %s", failed.code(), failed.message()));
        return failed;
    }
    h->_process = process.hProcess;
    h->_processId = process.dwProcessId;
    if (h->_log) {
        h->_log->watch(process.dwProcessId, process.hProcess);
        h->_log->hostLine(vxFormat(u"Server started: %s; process id %u; version %s",
                                   ServerLogText::visibleCommandLine(commandLine), process.dwProcessId,
                                   programVersion(serverPath)));
        if (ResumeThread(process.hThread) == static_cast<DWORD>(-1)) {
            const VXResult failed = VX_WIN32_ERROR(u"ResumeThread");
            CloseHandle(process.hThread);
            return failed;  // the destructor ends the suspended server
        }
    }
    CloseHandle(process.hThread);
    host = std::move(h);
    return VXError::eNoError;
}

bool Host::isRunning() const {
    return _process != nullptr && WaitForSingleObject(_process, 0) == WAIT_TIMEOUT;
}

VXResult Host::readResultBlock(ResultRecord& record) const {
    if (SerializeUtils::readResult(_objects->shMemResult->view, kResultBlockSize, record) == nullptr) {
        return VX_ERROR(VXError::eBadFormat, u"Failed reading result");
    }
    return VXError::eNoError;
}

VXResult Host::describeExit_(const VXSourceLocation& site) {
    DWORD exitCode = 0;
    GetExitCodeProcess(_process, &exitCode);
    logExit_(exitCode);
    ResultRecord final;
    if (exitCode != kExitResultWritten || readResultBlock(final).isError()) {
        return VXResult(VXThreadError::eNotRunning, site, u"Server ended with exit code %u", exitCode);
    }
    return VXResult(VXThreadError::eNotRunning, site, u"Server ended with exit code %u; final result (%d) %s",
                    exitCode, final.code, final.text);
}

VXResult Host::waitForAnswer_(uint32_t timeoutMs) {
    const HANDLE handles[] = {_objects->eventCompleted->handle(), _process};
    const DWORD wait = WaitForMultipleObjects(2, handles, FALSE, timeoutMs);
    if (wait == WAIT_OBJECT_0 + 1)
        return describeExit_(VX_SITE);
    if (wait == WAIT_TIMEOUT) {
        const VXResult late =
            VX_ERROR(VXError::eTimeout, u"No answer from the server within %u ms", timeoutMs);
        if (_log)
            _log->hostLine(vxFormat(u"Request failed: (%d) %s", late.code(), late.message()));
        return late;
    }
    if (wait != WAIT_OBJECT_0)
        return VX_WIN32_ERROR(u"WaitForMultipleObjects");
    return VXError::eNoError;
}

VXResult Host::capture(const std::vector<uint64_t>& excludedWindows, bool captureCursor, Capture& capture,
                       uint32_t timeoutMs) {
    VX_CHECK_PARAM(excludedWindows.size() <= kMaxExcludedWindows);
    if (!isRunning())
        return describeExit_(VX_SITE);
    // Whatever ends this request other than a frame read leaves the next one without a reference.
    const bool previousKnown = std::exchange(_previousKnown, false);
    // A request that timed out may still be answered: its answer must not pass for this one's,
    // and the server may still be writing the blocks.
    if (_unanswered) {
        VX_RETURN_IF_ERROR(waitForAnswer_(timeoutMs));
        _unanswered = false;
    }

    SerializeUtils::writeWindowList(_objects->shMemExclWnds->view, kExclWndsBlockSize, excludedWindows);
    SerializeUtils::writeBool(_objects->shMemCaptureCursor->view, captureCursor);
    const uint64_t start = VXPlatform::monotonicMicroseconds();
    VX_RETURN_IF_ERROR(_objects->eventStart->set());

    _unanswered = true;
    VX_RETURN_IF_ERROR(waitForAnswer_(timeoutMs));
    _unanswered = false;

    VX_RETURN_IF_ERROR(readResultBlock(capture.result));
    capture.updatedRegion.clear();
    if (capture.result.code <= VXError::eNoError && _image) {
        VX_RETURN_IF_ERROR(readFrame_(previousKnown, capture));
        SerializeUtils::readWaitRecord(_objects->shMemWaitResult->view, capture.wait);
    }
    capture.microseconds = VXPlatform::monotonicMicroseconds() - start;
    if (_log && capture.result.code > VXError::eNoError) {
        _log->hostLine(vxFormat(u"Answer (%d) %s: %s", capture.result.code,
                                VXResult::codeName(capture.result.code), capture.result.text));
    }
    return VXError::eNoError;
}

VXResult Host::readFrame_(bool previousKnown, Capture& capture) {
    const uint8_t* cursor = _objects->shMemImage->view;
    const size_t blockSize = imageBlockSize(_params->captureRect);
    bool present = false;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bitsPerPixel = 0;
    if (cursor == nullptr || blockSize < SerializeUtils::kImageHeaderSize)
        return VX_ERROR(VXError::eBadFormat, u"Failed reading image");
    cursor = SerializeUtils::readBool(cursor, present);
    cursor = SerializeUtils::readUInt32(cursor, width);
    cursor = SerializeUtils::readUInt32(cursor, height);
    cursor = SerializeUtils::readUInt32(cursor, bitsPerPixel);
    // The server writes the whole rectangle, so a record of another size is a corrupt one; and
    // an updated region only means something between frames of one size.
    const size_t stride = size_t{width} * FrameDiff::kBytesPerPixel;
    if (!present || bitsPerPixel != 32 || width != static_cast<uint32_t>(_image->getWidth()) ||
        height != static_cast<uint32_t>(_image->getHeight()) ||
        stride * height > blockSize - SerializeUtils::kImageHeaderSize) {
        return VX_ERROR(VXError::eBadFormat, u"Failed reading image");
    }
    const int32_t w = _image->getWidth();
    const int32_t h = _image->getHeight();
    if (_frameMode == FrameMode::eZeroCopy) {
        capture.updatedRegion.assign(1, VXRect(0, 0, w, h));
    } else if (previousKnown) {
        _diff.copyChanged(cursor, stride, _image->getBits(), static_cast<size_t>(_image->getBytesPerLine()),
                          w, h, capture.updatedRegion);
    } else {
        FrameDiff::copyAll(cursor, stride, _image->getBits(), static_cast<size_t>(_image->getBytesPerLine()),
                           w, h, capture.updatedRegion);
    }
    if (_frameMode == FrameMode::eCopy) {
        capture.image = _image;
    } else {
        if (!_blockView) {
            std::shared_ptr<VXImage> view;
            VX_RETURN_IF_ERROR(VXImage::create(w, h, 32, view));
            VX_RETURN_IF_ERROR(view->setBits(const_cast<uint8_t*>(cursor), false));
            _blockView = std::move(view);
        }
        capture.image = _blockView;
    }
    _previousKnown = _frameMode != FrameMode::eZeroCopy;
    return VXError::eNoError;
}

void Host::setFrameMode(FrameMode mode) {
    if (mode != _frameMode)
        _previousKnown = false;
    _frameMode = mode;
}

VXResult Host::waitForExit(uint32_t timeoutMs, uint32_t& exitCode, ResultRecord& finalResult) {
    const DWORD wait = WaitForSingleObject(_process, timeoutMs);
    if (wait == WAIT_TIMEOUT)
        return VX_ERROR(VXError::eTimeout, u"Server still running after %u ms", timeoutMs);
    if (wait != WAIT_OBJECT_0)
        return VX_WIN32_ERROR(u"WaitForSingleObject");
    DWORD code = 0;
    if (!GetExitCodeProcess(_process, &code))
        return VX_WIN32_ERROR(u"GetExitCodeProcess");
    exitCode = code;
    logExit_(code);
    // Only exit code 10 says the final result reached the block; otherwise it holds nothing
    // or an earlier request's answer.
    finalResult = ResultRecord();
    if (code == kExitResultWritten)
        VX_RETURN_IF_ERROR(readResultBlock(finalResult));
    return VXError::eNoError;
}

VXResult Host::terminate() {
    if (!isRunning())
        return VXError::eNoError;
    if (!TerminateProcess(_process, kTerminateExitCode))
        return VX_WIN32_ERROR(u"TerminateProcess");
    WaitForSingleObject(_process, INFINITE);
    logExit_(kTerminateExitCode);
    return VXError::eNoError;
}

void Host::logExit_(uint32_t exitCode) {
    if (!_log || _log->hasEnded())
        return;
    VXString text = vxFormat(u"Server ended with exit code %s", ServerLogText::exitCodeText(exitCode));
    ResultRecord final;
    if (exitCode == kTerminateExitCode) {
        text.append(u", terminated by the host");
    } else if (exitCode >= kFirstExceptionCode) {
        text.appendFormat(u": %s", VXDebug::exceptionName(exitCode));
    } else if (exitCode == kExitResultWritten && readResultBlock(final).isSuccess()) {
        text.appendFormat(u"; final result (%d) %s: %s", final.code, VXResult::codeName(final.code),
                          final.text);
    }
    _log->serverEnded(text);
}

VXResult Host::logResult() const {
    return _log ? _log->readerResult() : VXResult(VXError::eNoError);
}

std::vector<VXString> Host::dumpFiles() const {
    return _log ? _log->dumpFiles() : std::vector<VXString>();
}

}  // namespace Vistrel
