#include "X11ScreenReader.h"

#include <xcb/composite.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include "CapturedRow.h"
#include "VXChecks.h"
#include "VXPlatform.h"
#include "X11CursorPainter.h"
#include "X11Errors.h"
#include "X11RequestBatch.h"

namespace {

constexpr int32_t kBytesPerPixel = 4;
// After the first redirection the clients repaint what it exposed in their new pixmaps: the
// first capture waits for them to be quiet for a while, within a bound.
constexpr uint32_t kRepaintQuietMs = 100;
constexpr uint32_t kRepaintMaxMs = 1000;

uint64_t nowMs() {
    return VXPlatform::monotonicMicroseconds() / 1000;
}

}  // namespace

X11ScreenReader::X11ScreenReader(std::string displayName) : _displayName(std::move(displayName)) {}

X11ScreenReader::~X11ScreenReader() {
    takeMemoryBack_();
    if (_connection.isOpen() && _connection.checkAlive(VX_SITE).isSuccess()) {
        // Our window leaves the screen with us; the rest goes with the connection.
        _background.release(_connection);
        xcb_flush(_connection.get());
    }
}

VXResult X11ScreenReader::connect_() {
    VX_RETURN_IF_ERROR(_connection.open(_displayName.c_str()));
    X11RequestBatch batch(_connection);
    // Automatic: the server keeps painting the windows on the screen itself, and each
    // top-level window keeps all its pixels in a pixmap of its own, covered or not.
    batch.add(xcb_composite_redirect_subwindows_checked(_connection.get(), _connection.root(),
                                                        XCB_COMPOSITE_REDIRECT_AUTOMATIC),
              u"CompositeRedirectSubwindows", false);
    bool vanished = false;
    VX_RETURN_IF_ERROR(batch.check(vanished, VX_SITE));
    VX_RETURN_IF_ERROR(_watch.start(_connection));
    uint32_t firstSequence = 0;
    VX_RETURN_IF_ERROR(_stack.refresh(_connection, firstSequence));
    _watch.arm(_connection, _stack.viewable(), batch);
    VX_RETURN_IF_ERROR(batch.check(vanished, VX_SITE));
    bool quiet = false;
    VX_RETURN_IF_ERROR(_watch.waitForQuiet(_connection, kRepaintQuietMs, kRepaintMaxMs, quiet));
    if (!quiet)
        _lastChangeMs = nowMs();
    return VXError::eNoError;
}

VXResult X11ScreenReader::setup(const VXRect& captureRect, const std::shared_ptr<VXImage>& image) {
    VX_CHECK_PARAM(!captureRect.isEmpty());
    VX_CHECK_PARAM(image);
    VX_CHECK_PARAM(image->getBits());
    VX_CHECK_PARAM(image->getBytesPerPixel() == 4);
    VX_CHECK_PARAM(image->getWidth() == captureRect.getWidth());
    VX_CHECK_PARAM(image->getHeight() == captureRect.getHeight());
    // A connection that failed half-way stays failed: its state is not to be trusted.
    VX_RETURN_IF_ERROR(_connectFailure);
    if (_connection.isOpen()) {
        VX_RETURN_IF_ERROR(_connection.checkAlive(VX_SITE));
        if (captureRect == _captureRect && image == _image)
            return VXError::eNoError;
    } else if (const VXResult connected = connect_(); connected.isError()) {
        if (_connection.isOpen())
            _connectFailure = connected;
        return VX_CHAIN(connected);
    }
    takeMemoryBack_();
    VX_RETURN_IF_ERROR(_imageReader.setup(_connection, captureRect.getWidth(), captureRect.getHeight()));
    _captureRect = captureRect;
    _image = image;
    lendMemory_();
    return VXError::eNoError;
}

void X11ScreenReader::lendMemory_() {
    uint8_t* area = _imageReader.lendableArea();
    VXImage& image = *_image;
    if (area == nullptr || image.getBytesPerLine() != image.getWidth() * kBytesPerPixel)
        return;
    uint8_t* own = image.getBits();
    const bool owned = image.ownsBits();
    std::memcpy(area, own, static_cast<size_t>(image.getImageSize()));
    // Images that must keep their own memory (bitmaps, sub-images) refuse: they are copied into.
    if (image.setBits(area, false).isError())
        return;
    _imageOwnBits = own;
    _imageOwnedBits = owned;
    _imageInShm = true;
}

void X11ScreenReader::takeMemoryBack_() {
    if (!_imageInShm)
        return;
    // Through null: setBits frees the bits it replaces when the new ones are owned.
    (void)_image->setBits(nullptr, false);
    (void)_image->setBits(_imageOwnBits, _imageOwnedBits);
    std::memcpy(_imageOwnBits, _imageReader.lendableArea(), static_cast<size_t>(_image->getImageSize()));
    _imageInShm = false;
    _imageOwnBits = nullptr;
}

VXResult X11ScreenReader::setExcludedWindows(const std::vector<uint64_t>& windows) {
    _excludedResolved = false;
    try {
        _excludedWindows = windows;
    } catch (const std::bad_alloc&) {
        _excludedWindows.clear();
        return VX_ERROR(VXError::eNoMemory, u"Failed storing %u window ids",
                        static_cast<uint32_t>(windows.size()));
    }
    return VXError::eNoError;
}

VXResult X11ScreenReader::setCaptureCursor(bool show) {
    _captureCursor = show;
    return VXError::eNoError;
}

VXResult X11ScreenReader::isCompositorRunning_(bool& running) {
    xcb_connection_t* c = _connection.get();
    xcb_generic_error_t* rawError = nullptr;
    X11Reply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        c, xcb_get_selection_owner(c, _connection.compositorAtom()), &rawError));
    if (rawError != nullptr)
        return VX_X11_ERROR(u"GetSelectionOwner", *X11Reply<xcb_generic_error_t>(rawError));
    if (owner == nullptr)
        return _connection.checkAlive(VX_SITE);
    running = owner->owner != XCB_NONE;
    return VXError::eNoError;
}

VXResult X11ScreenReader::excludedTopLevels_(std::vector<xcb_window_t>& topLevels) {
    topLevels.clear();
    for (const uint64_t id : _excludedWindows) {
        // X ids have 29 bits; wider values name no window.
        if (id == 0 || id > UINT32_MAX)
            continue;
        xcb_window_t topLevel = 0;
        VX_RETURN_IF_ERROR(_stack.topLevelOf(_connection, static_cast<xcb_window_t>(id), topLevel));
        if (topLevel != 0)
            topLevels.push_back(topLevel);
    }
    return VXError::eNoError;
}

VXResult X11ScreenReader::attempt_(bool& changed) {
    const VXRect screen(0, 0, _connection.screenWidth(), _connection.screenHeight());
    const VXRect visible = _captureRect.intersect(screen);
    // What came since the last look: changes to the stack, the background, the compositor, and
    // changes inside the rectangle, which call for a quiet time before a capture counts.
    bool changedBefore = false;
    (void)_watch.changedSince(_connection, UINT32_MAX, visible, _read, _stack.viewable(), !_lastComposed,
                              _background.window(), changedBefore);
    if (changedBefore)
        _lastChangeMs = nowMs();
    X11ChangeWatch::Changes& changes = _watch.changes();
    if (changes.compositor) {
        changes.compositor = false;
        VX_RETURN_IF_ERROR(isCompositorRunning_(_compositorRunning));
    }
    // The listing is kept while no structure event says otherwise; a change that is still on
    // its way arrives during this attempt, and the attempt does not count.
    uint32_t firstSequence = 0;
    if (changes.stack) {
        changes.stack = false;
        _excludedResolved = false;
        VX_RETURN_IF_ERROR(_stack.refresh(_connection, firstSequence));
    } else {
        firstSequence = xcb_no_operation(_connection.get()).sequence;
    }
    if (!_excludedResolved) {
        VX_RETURN_IF_ERROR(excludedTopLevels_(_excludedTopLevels));
        _excludedResolved = true;
    }

    _lastRead = visible;
    if (visible.isEmpty())
        return VXError::eNoError;  // nothing of the rectangle is on the screen: all black

    const std::vector<X11TopWindow>& all = _stack.viewable();
    _read.clear();
    bool excludedInside = false;
    for (const auto& window : all) {
        if (window.id == _background.window() || window.outer.intersect(visible).isEmpty())
            continue;
        if (std::find(_excludedTopLevels.begin(), _excludedTopLevels.end(), window.id) !=
            _excludedTopLevels.end())
            excludedInside = true;
        else
            _read.push_back(window);
    }

    X11RequestBatch batch(_connection);
    _watch.arm(_connection, _read, batch);
    bool vanished = false;
    // The whole rectangle on the screen and the image in our memory: read straight into it.
    const bool inPlace = _imageInShm && visible == _captureRect;
    if (!excludedInside) {
        // Nothing to leave out: the screen itself has the same pixels, read at once.
        VX_RETURN_IF_ERROR(_imageReader.read(
            _connection, _connection.root(), static_cast<int16_t>(visible.getLeft()),
            static_cast<int16_t>(visible.getTop()), static_cast<uint16_t>(visible.getWidth()),
            static_cast<uint16_t>(visible.getHeight()), inPlace, vanished));
        _lastComposed = false;
    } else {
        const xcb_window_t bottom = all.empty() ? XCB_NONE : all.front().id;
        VX_RETURN_IF_ERROR(
            _background.prepare(_connection, visible, _compositorRunning, bottom, changes.background, batch));
        changes.background = false;
        // Into a pixmap over the image's own memory when the server can: no read at all.
        const bool composeInPlace = inPlace && _connection.hasShmPixmaps();
        VX_RETURN_IF_ERROR(_compositor.compose(_connection, visible, _read, _background, _compositorRunning,
                                               composeInPlace ? _imageReader.segment() : 0, batch));
        if (!composeInPlace) {
            VX_RETURN_IF_ERROR(_imageReader.read(
                _connection, _compositor.pixmap(), 0, 0, static_cast<uint16_t>(visible.getWidth()),
                static_cast<uint16_t>(visible.getHeight()), inPlace, vanished));
        }
        _lastComposed = true;
    }
    // After a read the batch's answers are here already; otherwise its check waits for the
    // server to have drawn everything.
    VX_RETURN_IF_ERROR(batch.check(vanished, VX_SITE));
    if (vanished)
        changes.stack = true;
    changed = _watch.changedSince(_connection, firstSequence, visible, _read, all, !excludedInside,
                                  _background.window(), changedBefore) ||
              vanished;
    if (changed || changedBefore)
        _lastChangeMs = nowMs();
    return VXError::eNoError;
}

void X11ScreenReader::copyToImage_(const VXRect& visible, bool& anyNotBlack) {
    VXImage& image = *_image;
    if (_imageInShm && visible == _captureRect) {
        for (int32_t y = 0; y < image.getHeight() && !anyNotBlack; ++y)
            anyNotBlack = capturedRowHasColor(image.getLinePtr(y), image.getWidth());
        return;  // the server wrote the pixels in place
    }
    if (visible != _captureRect) {
        for (int32_t y = 0; y < image.getHeight(); ++y)
            std::memset(image.getLinePtr(y), 0, static_cast<size_t>(image.getWidth()) * kBytesPerPixel);
    }
    if (visible.isEmpty())
        return;
    const int32_t width = visible.getWidth();
    const size_t rowBytes = static_cast<size_t>(width) * kBytesPerPixel;
    const uint8_t* source = _imageReader.pixels();
    const int32_t left = visible.getLeft() - _captureRect.getLeft();
    const int32_t top = visible.getTop() - _captureRect.getTop();
    for (int32_t y = 0; y < visible.getHeight(); ++y, source += rowBytes) {
        if (!anyNotBlack)
            anyNotBlack = capturedRowHasColor(source, width);
        std::memcpy(image.getLinePtr(top + y) + static_cast<size_t>(left) * kBytesPerPixel, source, rowBytes);
    }
}

VXResult X11ScreenReader::readScreen() {
    if (!_connection.isOpen() || _image == nullptr || _captureRect.isEmpty())
        return VX_ERROR(VXError::ePreconditionFailed, u"Reader not set up");
    VX_RETURN_IF_ERROR(_connection.checkAlive(VX_SITE));
    _stabilizationRounds = 0;
    _stabilizationTimeMs = 0;
    _stabilizationTimedOut = false;
    const uint64_t start = nowMs();

    for (;;) {
        bool changed = false;
        VX_RETURN_IF_ERROR(attempt_(changed));
        const uint64_t now = nowMs();
        if (!changed && now - _lastChangeMs >= kQuietMs)
            break;
        ++_stabilizationRounds;
        if (now - start >= kStabilizationTimeoutMs) {
            _stabilizationTimedOut = true;
            break;
        }
        // Unchanged during the attempt but changed just before: wait out the quiet time.
        if (!changed) {
            const uint64_t wait =
                std::min<uint64_t>(_lastChangeMs + kQuietMs - now, start + kStabilizationTimeoutMs - now);
            std::this_thread::sleep_for(std::chrono::milliseconds(wait));
        }
    }
    _stabilizationTimeMs = static_cast<uint32_t>(nowMs() - start);

    bool anyNotBlack = false;
    copyToImage_(_lastRead, anyNotBlack);
    if (_captureCursor)
        VX_RETURN_IF_ERROR(X11CursorPainter::paint(_connection, _captureRect, *_image, anyNotBlack));
    if (anyNotBlack)
        return VXError::eNoError;
    return VX_ERROR(VXError::eVerifyFailed, u"All captured pixels are black");
}
