#include "VistrelHost.h"

#include <algorithm>
#include <utility>

#include "SerializeUtils.h"
#include "ServerLogText.h"
#include "VXChecks.h"
#include "VXPlatform.h"
#include "VistrelExchange.h"
#include "VistrelHostCommand.h"

namespace Vistrel {

namespace {

constexpr uint32_t kExitResultWritten = 10;
constexpr uint64_t kCrashWindowMicroseconds = 60ull * 1000 * 1000;

uint32_t remainingMs(uint64_t deadline) {
    const uint64_t now = VXPlatform::monotonicMicroseconds();
    return now >= deadline ? 0 : static_cast<uint32_t>((deadline - now + 999) / 1000);
}

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

Host::~Host() {
    if (_server && _server->isRunning() && _server->terminate(kTerminateWaitMs).isSuccess())
        _terminatedByHost = true;
    ServerExit exit;
    if (_server && _log && _server->waitForExit(0, exit).isSuccess())
        logExit_(exit, ServerLog::kEndWaitMs);
    _log.reset();  // bounded: see ServerLog
    detachBlockView_();
    _server.reset();
}

VXResult Host::start(const HostOptions& options, std::unique_ptr<Host>& host) {
    VX_RETURN_IF_ERROR(HostCommand::checkRect(options.captureRect));
    VXString guid = options.guid;
    if (guid.isEmpty()) {
        VX_RETURN_IF_ERROR(HostCommand::newGuid(guid));
        guid.append(HostPlatform::identifierTag());
    } else
        VX_RETURN_IF_ERROR(HostCommand::checkIdentifier(guid));
    VXString serverPath = options.serverPath;
    if (serverPath.isEmpty())
        serverPath = executableFolder() + VXString(HostPlatform::serverFileName());
    VXString serverOptions;
    VX_RETURN_IF_ERROR(
        Params::makeCommandLine(options.captureRect, guid.c_str(), options.unitTestMode, serverOptions));
    ServerLogOptions log;
    log.path = options.logPath;
    log.callback = options.logCallback;
    log.maxBytes = options.logMaxBytes;
    log.maxDumps = options.maxDumpFiles;
    std::unique_ptr<Host> h;
    VX_RETURN_IF_ERROR(startWithOptions(serverPath, serverOptions, h, log));
    h->_frameMode = options.frameMode;
    h->_unitTestMode = options.unitTestMode;
    h->_autoRestart = options.autoRestart;
    h->_maxCrashRestarts = options.maxCrashRestartsPerMinute;
    host = std::move(h);
    return VXError::eNoError;
}

VXResult Host::startWithOptions(const VXString& serverPath, const VXString& serverOptions,
                                std::unique_ptr<Host>& host, const ServerLogOptions& log) {
    VXString commandLine;
    VX_RETURN_IF_ERROR(HostCommand::join(serverPath, serverOptions, commandLine));
    if (!HostPlatform::isFullPath(serverPath)) {
        return VX_ERROR(VXError::eBadParameter,
                        u"Server path \"%s\" refused: the server is started only by its full path",
                        serverPath);
    }
    VX_RETURN_IF_ERROR(HostPlatform::findServer(serverPath));
    std::unique_ptr<Host> h(new Host);
    h->_serverPath = serverPath;
    if (log.wanted())
        VX_RETURN_IF_ERROR(ServerLog::open(log, h->_log));
    VX_RETURN_IF_ERROR(h->launch_(serverOptions));
    host = std::move(h);
    return VXError::eNoError;
}

VXResult Host::launch_(const VXString& serverOptions) {
    std::shared_ptr<Params> params;
    VX_RETURN_IF_ERROR(Params::create(serverOptions.c_str(), kEventStartPrefix, kEventCompletedPrefix,
                                      kExclWndsPrefix, kCaptureCursorPrefix, kImagePrefix, kWaitResultPrefix,
                                      kResultPrefix, params));
    // The host makes the objects first, with its own security, so that a request can be
    // written before the server runs and no other account or lower level can reach them.
    std::unique_ptr<ServerInstance> server;
    VX_RETURN_IF_ERROR(ServerInstance::create(*params, server));
    // An empty request, so that a start signal without one is harmless.
    SerializeUtils::writeWindowList(server->view(ServerInstance::Block::eExclWnds), kExclWndsBlockSize, {});
    SerializeUtils::writeBool(server->view(ServerInstance::Block::eCaptureCursor), false);

    const VXRect& rect = params->captureRect;
    if (rect.getWidth() > 0 && rect.getHeight() > 0 &&
        (!_image || _image->getWidth() != rect.getWidth() || _image->getHeight() != rect.getHeight())) {
        std::shared_ptr<VXImage> image;
        VX_RETURN_IF_ERROR(VXImage::create(rect.getWidth(), rect.getHeight(), 32, image));
        VX_RETURN_IF_ERROR(image->allocate());
        _image = std::move(image);
    }
    // A new server: nothing of the old one's blocks or frames is a reference any more.
    detachBlockView_();
    _previousKnown = false;
    _unanswered = false;
    _terminatedByHost = false;

    VXString commandLine;
    VX_RETURN_IF_ERROR(HostCommand::join(_serverPath, serverOptions, commandLine));
    std::unique_ptr<LogPipe> pipe;
    if (_log)
        VX_RETURN_IF_ERROR(LogPipe::create(pipe));
    const VXResult launched = server->launch(_serverPath, commandLine, pipe.get());
    if (launched.isError()) {
        if (_log)
            _log->hostLine(vxFormat(u"Server not started: (%d) %s", launched.code(), launched.message()));
        return launched;
    }
    if (_log) {
        _log->hostLine(vxFormat(u"Server started: %s; process id %u; version %s",
                                ServerLogText::visibleCommandLine(commandLine), server->processId(),
                                HostPlatform::programVersion(_serverPath)));
        // Read only now: the server's lines wait in the pipe, after the line above.
        _log->readFrom(std::move(pipe));
    }
    _params = std::move(params);
    _server = std::move(server);
    return VXError::eNoError;
}

VXResult Host::restart_(const VXString& reason) {
    if (_server && _server->isRunning()) {
        VX_RETURN_IF_ERROR(_server->terminate(kTerminateWaitMs));
        _terminatedByHost = true;
    }
    ServerExit exit;
    if (_server && _server->waitForExit(0, exit).isSuccess())
        logExit_(exit, ServerLog::kEndWaitMs);
    const VXRect rect = _pendingRect.isEmpty() ? _params->captureRect : _pendingRect;
    VXString guid;
    VX_RETURN_IF_ERROR(HostCommand::newGuid(guid));
    guid.append(HostPlatform::identifierTag());
    VXString serverOptions;
    VX_RETURN_IF_ERROR(Params::makeCommandLine(rect, guid.c_str(), _unitTestMode, serverOptions));
    // The old objects go before the new ones come: a host holds one server's at a time.
    detachBlockView_();
    _server.reset();
    ++_restarts;
    if (_log)
        _log->hostLine(vxFormat(u"Server restarted (%u): %s", _restarts, reason));
    VX_RETURN_IF_ERROR(launch_(serverOptions));
    _pendingRect = VXRect();
    return VXError::eNoError;
}

VXResult Host::ensureServer_() {
    if (!_pendingRect.isEmpty())
        return restart_(vxFormat(u"the capture rectangle is now %s", _pendingRect.toString()));
    if (!_server) {
        // A restart that failed left no server: the next capture tries again when restarts are on.
        if (!_autoRestart)
            return VX_ERROR(VXError::eNotInitialized, u"Server not started: its last start failed");
        return restart_(u"the last start had failed");
    }
    if (_server->isRunning())
        return VXError::eNoError;
    if (!_autoRestart)
        return describeExit_(VX_SITE, ServerLog::kEndWaitMs);
    ServerExit exit;
    VX_RETURN_IF_ERROR(_server->waitForExit(0, exit));
    ResultRecord final;
    const bool idleEnd = exit.exitCode == kExitResultWritten && exit.signal == 0 &&
                         readResultBlock(final).isSuccess() && final.code == VXError::eTimeout;
    if (idleEnd)
        return restart_(u"the server had ended after its idle time");
    const uint64_t now = VXPlatform::monotonicMicroseconds();
    while (!_crashRestarts.empty() && now - _crashRestarts.front() >= kCrashWindowMicroseconds)
        _crashRestarts.pop_front();
    if (_crashRestarts.size() >= _maxCrashRestarts) {
        if (_log) {
            _log->hostLine(
                vxFormat(u"Server not restarted: %u restarts after a crash within a minute already",
                         static_cast<uint32_t>(_crashRestarts.size())));
        }
        return describeExit_(VX_SITE, ServerLog::kEndWaitMs);
    }
    _crashRestarts.push_back(now);
    return restart_(vxFormat(u"the server had ended with %s", HostPlatform::describeExit(exit, true)));
}

bool Host::isRunning() const {
    return _server && _server->isRunning();
}

VXResult Host::readResultBlock(ResultRecord& record) const {
    if (!_server)
        return VX_ERROR(VXError::eNotInitialized, u"Server not started");
    if (SerializeUtils::readResult(_server->view(ServerInstance::Block::eResult), kResultBlockSize, record) ==
        nullptr) {
        return VX_ERROR(VXError::eBadFormat, u"Failed reading result");
    }
    return VXError::eNoError;
}

VXResult Host::describeExit_(const VXSourceLocation& site, uint32_t logWaitMs) {
    ServerExit exit;
    _server->waitForExit(0, exit);
    logExit_(exit, logWaitMs);
    const VXString how = HostPlatform::describeExit(exit, false);
    ResultRecord final;
    if (exit.signal != 0 || exit.exitCode != kExitResultWritten || readResultBlock(final).isError())
        return VXResult(VXThreadError::eNotRunning, site, u"Server ended with %s", how);
    return VXResult(VXThreadError::eNotRunning, site, u"Server ended with %s; final result (%d) %s", how,
                    final.code, final.text);
}

VXResult Host::waitForAnswer_(uint64_t deadline, uint32_t timeoutMs) {
    ServerInstance::Wake wake = ServerInstance::Wake::eTimeout;
    VX_RETURN_IF_ERROR(_server->waitForAnswer(_cancel, remainingMs(deadline), wake));
    switch (wake) {
        case ServerInstance::Wake::eAnswer:
            return VXError::eNoError;
        case ServerInstance::Wake::eEnded:
            return describeExit_(VX_SITE, std::min(remainingMs(deadline), ServerLog::kEndWaitMs));
        case ServerInstance::Wake::eCanceled: {
            const VXResult canceled = VX_ERROR(VXError::eUserCanceled, u"Capture canceled by the host");
            if (_log)
                _log->hostLine(vxFormat(u"Request failed: (%d) %s", canceled.code(), canceled.message()));
            return canceled;
        }
        case ServerInstance::Wake::eTimeout:
            break;
    }
    const VXResult late = VX_ERROR(VXError::eTimeout, u"No answer from the server within %u ms", timeoutMs);
    if (_log)
        _log->hostLine(vxFormat(u"Request failed: (%d) %s", late.code(), late.message()));
    return late;
}

void Host::detachBlockView_() {
    // A caller may still hold the view through an earlier Capture: it must see no pixels rather
    // than point into a block that is about to be unmapped.
    if (_blockView)
        _blockView->setBits(nullptr, false);
    _blockView.reset();
}

VXResult Host::capture(const std::vector<uint64_t>& excludedWindows, bool captureCursor, Capture& capture,
                       uint32_t timeoutMs) {
    const VXResult r = exchange_(excludedWindows, captureCursor, capture, timeoutMs);
    if (r.isError())
        capture = Capture();  // never the previous answer, frame or region beside a failure
    return r;
}

VXResult Host::exchange_(const std::vector<uint64_t>& excludedWindows, bool captureCursor, Capture& capture,
                         uint32_t timeoutMs) {
    VX_CHECK_PARAM(excludedWindows.size() <= kMaxExcludedWindows);
    const uint64_t start = VXPlatform::monotonicMicroseconds();
    const uint64_t deadline = start + uint64_t{timeoutMs} * 1000;
    if (!_cancel.arm())
        return VX_ERROR(VXError::eUserCanceled, u"Capture canceled by the host: the host is closing");
    struct Disarm {
        CancelSignal& signal;
        ~Disarm() { signal.disarm(); }
    } disarm{_cancel};

    VX_RETURN_IF_ERROR(ensureServer_());
    // Whatever ends this request other than a frame read leaves the next one without a reference.
    const bool previousKnown = std::exchange(_previousKnown, false);
    // A request that timed out may still be answered: its answer must not pass for this one's,
    // and the server may still be writing the blocks. Its wait counts in this call's time-out.
    if (_unanswered) {
        VX_RETURN_IF_ERROR(waitForAnswer_(deadline, timeoutMs));
        _unanswered = false;
    }

    SerializeUtils::writeWindowList(_server->view(ServerInstance::Block::eExclWnds), kExclWndsBlockSize,
                                    excludedWindows);
    SerializeUtils::writeBool(_server->view(ServerInstance::Block::eCaptureCursor), captureCursor);
    VX_RETURN_IF_ERROR(_server->signalStart());

    _unanswered = true;
    VX_RETURN_IF_ERROR(waitForAnswer_(deadline, timeoutMs));
    _unanswered = false;

    VX_RETURN_IF_ERROR(readResultBlock(capture.result));
    capture.updatedRegion.clear();
    if (capture.result.code <= VXError::eNoError && _image) {
        VX_RETURN_IF_ERROR(readFrame_(previousKnown, capture));
        SerializeUtils::readWaitRecord(_server->view(ServerInstance::Block::eWaitResult), capture.wait);
    }
    capture.microseconds = VXPlatform::monotonicMicroseconds() - start;
    if (_log && capture.result.code > VXError::eNoError) {
        _log->hostLine(vxFormat(u"Answer (%d) %s: %s", capture.result.code,
                                VXResult::codeName(capture.result.code), capture.result.text));
    }
    return VXError::eNoError;
}

VXResult Host::readFrame_(bool previousKnown, Capture& capture) {
    const uint8_t* cursor = _server->view(ServerInstance::Block::eImage);
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

VXResult Host::setCaptureRect(const VXRect& rect) {
    VX_RETURN_IF_ERROR(HostCommand::checkRect(rect));
    _pendingRect = rect;
    return VXError::eNoError;
}

VXResult Host::waitForExit(uint32_t timeoutMs, uint32_t& exitCode, ResultRecord& finalResult) {
    if (!_server)
        return VX_ERROR(VXError::eNotInitialized, u"Server not started");
    ServerExit exit;
    VX_RETURN_IF_ERROR(_server->waitForExit(timeoutMs, exit));
    exitCode = exit.exitCode;
    logExit_(exit, ServerLog::kEndWaitMs);
    // Only exit code 10 says the final result reached the block; otherwise it holds nothing
    // or an earlier request's answer.
    finalResult = ResultRecord();
    if (exit.signal == 0 && exit.exitCode == kExitResultWritten)
        VX_RETURN_IF_ERROR(readResultBlock(finalResult));
    return VXError::eNoError;
}

VXResult Host::terminate() {
    if (!isRunning())
        return VXError::eNoError;
    VX_RETURN_IF_ERROR(_server->terminate(kTerminateWaitMs));
    _terminatedByHost = true;
    ServerExit exit;
    if (_server->waitForExit(0, exit).isSuccess())
        logExit_(exit, ServerLog::kEndWaitMs);
    return VXError::eNoError;
}

void Host::logExit_(const ServerExit& exit, uint32_t logWaitMs) {
    if (!_log || _log->hasEnded())
        return;
    VXString text = vxFormat(u"Server ended with %s", HostPlatform::describeExit(exit, true));
    ResultRecord final;
    if (_terminatedByHost) {
        text.append(u", terminated by the host");
    } else if (exit.signal == 0 && exit.exitCode == kExitResultWritten &&
               readResultBlock(final).isSuccess()) {
        text.appendFormat(u"; final result (%d) %s: %s", final.code, VXResult::codeName(final.code),
                          final.text);
    }
    _log->serverEnded(text, logWaitMs);
}

std::vector<VXString> Host::dumpFiles() const {
    if (!_log)
        return {};
    _log->drain(ServerLog::kCloseDrainMs);
    return _log->dumpFiles();
}

}  // namespace Vistrel
