// The X11 screen reader: captures a rectangle of the screen into a 32-bit image, leaving out
// given windows, with Composite. It redirects the root's children automatically (the screen
// does not change), and for each capture reads the screen itself when no listed window is in
// the rectangle, else composes the rectangle from the background and the other windows'
// pixmaps in the X server. A capture counts when no window inside the rectangle was damaged
// while it was taken, nor for 20 ms before; otherwise it is taken again, for up to 500 ms.
// Owns its X connection, which it opens at the first setup. The request loop calls it from one
// thread only.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ScreenReader.h"
#include "VXImage.h"
#include "VXRect.h"
#include "VXResult.h"
#include "X11ChangeWatch.h"
#include "X11Compositor.h"
#include "X11Connection.h"
#include "X11ImageReader.h"
#include "X11RootBackground.h"
#include "X11WindowStack.h"

class X11ScreenReader : public ScreenReader {
public:
    static constexpr uint32_t kStabilizationTimeoutMs = 500;
    // How long the rectangle must have been without change for a capture to count: content
    // that changes faster than this never settles, as two readbacks never agree on Windows.
    static constexpr uint32_t kQuietMs = 20;

    // displayName empty: $DISPLAY.
    explicit X11ScreenReader(std::string displayName = {});
    X11ScreenReader(const X11ScreenReader&) = delete;
    X11ScreenReader& operator=(const X11ScreenReader&) = delete;
    ~X11ScreenReader() override;

    VXResult setup(const VXRect& captureRect, const std::shared_ptr<VXImage>& image) override;
    VXResult setExcludedWindows(const std::vector<uint64_t>& windows) override;
    VXResult setCaptureCursor(bool show) override;
    // After a lost connection every call answers 2010 with the cause, and the reader stays so.
    VXResult readScreen() override;

    uint32_t getStabilizationRounds() const override { return _stabilizationRounds; }
    uint32_t getStabilizationTimeMs() const override { return _stabilizationTimeMs; }
    bool isStabilizationTimedOut() const override { return _stabilizationTimedOut; }
    bool isSourceLost() const override { return _connection.isLost(); }
    // Whether the last readScreen composed the picture (a listed window was in the rectangle)
    // rather than reading the screen.
    bool lastCaptureComposed() const { return _lastComposed; }

private:
    VXResult connect_();
    // One attempt: lists the windows, reads or composes the rectangle; `changed` when the
    // screen changed inside the rectangle meanwhile; notes the time of the last change seen.
    VXResult attempt_(bool& changed);
    VXResult isCompositorRunning_(bool& running);
    VXResult excludedTopLevels_(std::vector<xcb_window_t>& topLevels);
    void copyToImage_(const VXRect& visible, bool& anyNotBlack);
    // The image keeps its pixels in the reader's shared memory when it takes other bits, so
    // that the X server writes them in place; given back before the image or segment changes.
    void lendMemory_();
    void takeMemoryBack_();

    std::string _displayName;
    VXResult _connectFailure;  // of a connection opened but not set up
    X11Connection _connection;
    X11WindowStack _stack;
    X11ChangeWatch _watch;
    X11Compositor _compositor;
    X11RootBackground _background;
    X11ImageReader _imageReader;
    VXRect _captureRect;
    std::shared_ptr<VXImage> _image;
    uint8_t* _imageOwnBits = nullptr;  // the image's bits while it holds ours
    bool _imageOwnedBits = false;
    bool _imageInShm = false;
    std::vector<uint64_t> _excludedWindows;
    bool _captureCursor = false;
    VXRect _lastRead;  // the part of the rectangle on the screen, as read last
    bool _lastComposed = false;
    bool _compositorRunning = false;
    std::vector<xcb_window_t> _excludedTopLevels;  // valid while the stack and the list are
    bool _excludedResolved = false;
    std::vector<X11TopWindow> _read;  // the windows the last attempt read
    uint64_t _lastChangeMs = 0;       // when a change inside the rectangle was last seen
    uint32_t _stabilizationRounds = 0;
    uint32_t _stabilizationTimeMs = 0;
    bool _stabilizationTimedOut = false;
};
