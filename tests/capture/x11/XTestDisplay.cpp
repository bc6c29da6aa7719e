#include "XTestDisplay.h"

#include <cstdlib>
#include <cstring>
#include <thread>

#include "VXPlatform.h"

namespace {

constexpr uint32_t kColorBits = 0x00FFFFFF;
constexpr auto kPoll = std::chrono::milliseconds(20);
constexpr auto kSettlePause = std::chrono::milliseconds(50);
constexpr int kSettleRounds = 60;
constexpr int kWallpaperSize = 48;

template <typename T>
struct Freed {
    T* pointer;
    ~Freed() { std::free(pointer); }
    T* operator->() const { return pointer; }
    explicit operator bool() const { return pointer != nullptr; }
};

}  // namespace

XTestDisplay::~XTestDisplay() {
    if (_connection != nullptr)
        xcb_disconnect(_connection);
}

bool XTestDisplay::connect(const std::string& display) {
    _connection = xcb_connect(display.c_str(), nullptr);
    if (xcb_connection_has_error(_connection) != 0)
        return false;
    _screen = xcb_setup_roots_iterator(xcb_get_setup(_connection)).data;
    _root = _screen->root;
    return true;
}

void XTestDisplay::sync() {
    std::free(xcb_get_input_focus_reply(_connection, xcb_get_input_focus(_connection), nullptr));
}

std::vector<uint32_t> XTestDisplay::rootImage(const VXRect& rect) {
    std::vector<uint32_t> pixels;
    Freed<xcb_get_image_reply_t> reply{xcb_get_image_reply(
        _connection,
        xcb_get_image(_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, _root, static_cast<int16_t>(rect.getLeft()),
                      static_cast<int16_t>(rect.getTop()), static_cast<uint16_t>(rect.getWidth()),
                      static_cast<uint16_t>(rect.getHeight()), ~0u),
        nullptr)};
    if (!reply)
        return pixels;
    pixels.resize(static_cast<size_t>(rect.getWidth()) * rect.getHeight());
    std::memcpy(pixels.data(), xcb_get_image_data(reply.pointer), pixels.size() * 4);
    for (auto& pixel : pixels)
        pixel &= kColorBits;
    return pixels;
}

bool XTestDisplay::settle(const VXRect& rect) {
    std::vector<uint32_t> before = rootImage(rect);
    for (int i = 0; i < kSettleRounds; ++i) {
        std::this_thread::sleep_for(kSettlePause);
        std::vector<uint32_t> now = rootImage(rect);
        if (now == before)
            return true;
        before = std::move(now);
    }
    return false;
}

xcb_atom_t XTestDisplay::atom_(const char* name) {
    Freed<xcb_intern_atom_reply_t> reply{xcb_intern_atom_reply(
        _connection, xcb_intern_atom(_connection, 0, static_cast<uint16_t>(std::strlen(name)), name),
        nullptr)};
    return reply ? reply->atom : XCB_NONE;
}

bool XTestDisplay::isViewable(xcb_window_t window) {
    Freed<xcb_get_window_attributes_reply_t> attributes{xcb_get_window_attributes_reply(
        _connection, xcb_get_window_attributes(_connection, window), nullptr)};
    return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

xcb_window_t XTestDisplay::findTitled_(xcb_window_t parent, const std::string& title, int depth) {
    Freed<xcb_query_tree_reply_t> tree{
        xcb_query_tree_reply(_connection, xcb_query_tree(_connection, parent), nullptr)};
    if (!tree)
        return 0;
    const xcb_window_t* children = xcb_query_tree_children(tree.pointer);
    for (int i = 0; i < xcb_query_tree_children_length(tree.pointer); ++i) {
        Freed<xcb_get_property_reply_t> name{xcb_get_property_reply(
            _connection,
            xcb_get_property(_connection, 0, children[i], XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 0, 256),
            nullptr)};
        if (name &&
            std::string(static_cast<const char*>(xcb_get_property_value(name.pointer)),
                        static_cast<size_t>(xcb_get_property_value_length(name.pointer))) == title &&
            isViewable(children[i])) {
            return children[i];
        }
        if (depth > 0) {
            if (const xcb_window_t found = findTitled_(children[i], title, depth - 1); found != 0)
                return found;
        }
    }
    return 0;
}

xcb_window_t XTestDisplay::waitForWindow(const std::string& title, int timeoutMs) {
    const uint64_t end = VXPlatform::monotonicMicroseconds() + static_cast<uint64_t>(timeoutMs) * 1000;
    do {
        if (const xcb_window_t window = findTitled_(_root, title, 2); window != 0)
            return window;
        std::this_thread::sleep_for(kPoll);
    } while (VXPlatform::monotonicMicroseconds() < end);
    return 0;
}

xcb_window_t XTestDisplay::topLevelOf(xcb_window_t window) {
    for (;;) {
        Freed<xcb_query_tree_reply_t> tree{
            xcb_query_tree_reply(_connection, xcb_query_tree(_connection, window), nullptr)};
        if (!tree || tree->parent == _root || tree->parent == XCB_NONE)
            return window;
        window = tree->parent;
    }
}

xcb_window_t XTestDisplay::createWindow(const VXRect& rect, uint32_t color, bool overrideRedirect,
                                        const std::string& title, bool argb) {
    uint8_t depth = XCB_COPY_FROM_PARENT;
    xcb_visualid_t visual = XCB_COPY_FROM_PARENT;
    xcb_colormap_t colormap = 0;
    if (argb) {
        for (auto depths = xcb_screen_allowed_depths_iterator(_screen); depths.rem > 0 && visual == 0;
             xcb_depth_next(&depths)) {
            if (depths.data->depth != 32)
                continue;
            for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem > 0;
                 xcb_visualtype_next(&visuals)) {
                if (visuals.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR) {
                    visual = visuals.data->visual_id;
                    break;
                }
            }
        }
        if (visual == 0)
            return 0;
        depth = 32;
        colormap = xcb_generate_id(_connection);
        xcb_create_colormap(_connection, XCB_COLORMAP_ALLOC_NONE, colormap, _root, visual);
    }
    const xcb_window_t window = xcb_generate_id(_connection);
    // Values in the order of their mask bits.
    std::vector<uint32_t> values = {color, 0, overrideRedirect ? 1u : 0u};
    uint32_t mask = XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT;
    if (argb) {
        mask |= XCB_CW_COLORMAP;
        values.push_back(colormap);
    }
    xcb_create_window(_connection, depth, window, _root, static_cast<int16_t>(rect.getLeft()),
                      static_cast<int16_t>(rect.getTop()), static_cast<uint16_t>(rect.getWidth()),
                      static_cast<uint16_t>(rect.getHeight()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, visual, mask,
                      values.data());
    xcb_change_property(_connection, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                        static_cast<uint32_t>(title.size()), title.c_str());
    xcb_map_window(_connection, window);
    sync();
    return window;
}

void XTestDisplay::fill(xcb_window_t window, uint32_t color, const VXRect& rect) {
    const xcb_gcontext_t gc = xcb_generate_id(_connection);
    xcb_create_gc(_connection, gc, window, XCB_GC_FOREGROUND, &color);
    const xcb_rectangle_t r = {static_cast<int16_t>(rect.getLeft()), static_cast<int16_t>(rect.getTop()),
                               static_cast<uint16_t>(rect.getWidth()),
                               static_cast<uint16_t>(rect.getHeight())};
    xcb_poly_fill_rectangle(_connection, window, gc, 1, &r);
    xcb_free_gc(_connection, gc);
    xcb_flush(_connection);
}

void XTestDisplay::map(xcb_window_t window) {
    xcb_map_window(_connection, window);
    sync();
}

void XTestDisplay::unmap(xcb_window_t window) {
    xcb_unmap_window(_connection, window);
    sync();
}

void XTestDisplay::move(xcb_window_t window, int32_t x, int32_t y) {
    const uint32_t values[] = {static_cast<uint32_t>(x), static_cast<uint32_t>(y)};
    xcb_configure_window(_connection, window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
    sync();
}

void XTestDisplay::raise(xcb_window_t window) {
    const uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(_connection, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    sync();
}

void XTestDisplay::destroy(xcb_window_t window) {
    xcb_destroy_window(_connection, window);
    sync();
}

void XTestDisplay::setWallpaper() {
    const xcb_pixmap_t pixmap = xcb_generate_id(_connection);
    xcb_create_pixmap(_connection, _screen->root_depth, pixmap, _root, kWallpaperSize, kWallpaperSize);
    const uint32_t colors[] = {0x204080, 0xC0A030, 0x30A060, 0x902020};
    for (int i = 0; i < 4; ++i)
        fill(pixmap, colors[i], VXRect((i % 2) * 24, (i / 2) * 24, (i % 2) * 24 + 24, (i / 2) * 24 + 24));
    xcb_change_window_attributes(_connection, _root, XCB_CW_BACK_PIXMAP, &pixmap);
    xcb_change_property(_connection, XCB_PROP_MODE_REPLACE, _root, atom_("_XROOTPMAP_ID"), XCB_ATOM_PIXMAP,
                        32, 1, &pixmap);
    xcb_clear_area(_connection, 0, _root, 0, 0, 0, 0);
    sync();
}

void XTestDisplay::warpPointer(int32_t x, int32_t y) {
    xcb_warp_pointer(_connection, XCB_NONE, _root, 0, 0, 0, 0, static_cast<int16_t>(x),
                     static_cast<int16_t>(y));
    sync();
}

PixelDifference comparePixels(const VXImage& image, const std::vector<uint32_t>& expected) {
    PixelDifference difference;
    const int32_t width = image.getWidth();
    if (expected.size() != static_cast<size_t>(width) * image.getHeight()) {
        difference.count = -1;
        difference.first = "expected picture has another size";
        return difference;
    }
    for (int32_t y = 0; y < image.getHeight(); ++y) {
        const uint8_t* row = image.getLinePtr(y);
        for (int32_t x = 0; x < width; ++x) {
            uint32_t pixel = 0;
            std::memcpy(&pixel, row + static_cast<size_t>(x) * 4, 4);
            const uint32_t want = expected[static_cast<size_t>(y) * width + x];
            if ((pixel & kColorBits) == want)
                continue;
            if (difference.count++ == 0) {
                char text[96];
                std::snprintf(text, sizeof(text), "(%d, %d): 0x%06X, expected 0x%06X", x, y,
                              pixel & kColorBits, want);
                difference.first = text;
            }
        }
    }
    return difference;
}
