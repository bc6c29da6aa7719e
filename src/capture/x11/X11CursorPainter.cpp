#include "X11CursorPainter.h"

#include <xcb/xfixes.h>

#include <cstring>

#include "VXChecks.h"
#include "X11Errors.h"
#include "X11Reply.h"

namespace {

constexpr uint32_t kColorBits = 0x00FFFFFF;
constexpr uint32_t kMax = 255;

}  // namespace

uint32_t X11CursorPainter::blend(uint32_t cursor, uint32_t under) {
    const uint32_t alpha = cursor >> 24;
    const uint32_t keep = kMax - alpha;
    uint32_t result = under & ~kColorBits;
    for (int shift = 0; shift < 24; shift += 8) {
        const uint32_t top = (cursor >> shift) & kMax;
        const uint32_t bottom = (under >> shift) & kMax;
        uint32_t channel = top + (bottom * keep + kMax / 2) / kMax;
        if (channel > kMax)
            channel = kMax;  // a cursor that is not properly premultiplied
        result |= channel << shift;
    }
    return result;
}

VXResult X11CursorPainter::paint(X11Connection& connection, const VXRect& captureRect, VXImage& image,
                                 bool& drewColor) {
    VX_CHECK_PARAM(image.getBytesPerPixel() == 4);
    xcb_connection_t* c = connection.get();
    xcb_generic_error_t* rawError = nullptr;
    X11Reply<xcb_xfixes_get_cursor_image_reply_t> cursor(
        xcb_xfixes_get_cursor_image_reply(c, xcb_xfixes_get_cursor_image(c), &rawError));
    if (rawError != nullptr)
        return VX_X11_ERROR(u"XFixesGetCursorImage", *X11Reply<xcb_generic_error_t>(rawError));
    if (cursor == nullptr)
        return connection.checkAlive(VX_SITE);
    const uint32_t* pixels = xcb_xfixes_get_cursor_image_cursor_image(cursor.get());
    if (pixels == nullptr ||
        xcb_xfixes_get_cursor_image_cursor_image_length(cursor.get()) < cursor->width * cursor->height) {
        return VXError::eNoError;  // no cursor shown
    }
    const int32_t left = cursor->x - cursor->xhot - captureRect.getLeft();
    const int32_t top = cursor->y - cursor->yhot - captureRect.getTop();
    const VXRect drawn =
        VXRect(left, top, left + cursor->width, top + cursor->height).intersect(VXRect(image.getSize()));
    for (int32_t y = drawn.getTop(); y < drawn.getBottom(); ++y) {
        uint8_t* row = image.getLinePtr(y);
        const uint32_t* source = pixels + static_cast<size_t>(y - top) * cursor->width;
        for (int32_t x = drawn.getLeft(); x < drawn.getRight(); ++x) {
            const uint32_t top32 = source[x - left];
            if ((top32 >> 24) == 0 && (top32 & kColorBits) == 0)
                continue;
            uint32_t under = 0;
            std::memcpy(&under, row + static_cast<size_t>(x) * 4, sizeof(under));
            const uint32_t blended = blend(top32, under);
            std::memcpy(row + static_cast<size_t>(x) * 4, &blended, sizeof(blended));
            drewColor = drewColor || (blended & kColorBits) != 0;
        }
    }
    return VXError::eNoError;
}
