// Reads a rectangle of a drawable into client memory: through a MIT-SHM segment that the X
// server writes into when it can, else through plain GetImage. Owns the segment; one thread.
#pragma once

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <cstdint>

#include "VXResult.h"
#include "X11Connection.h"
#include "X11Reply.h"

class X11ImageReader {
public:
    X11ImageReader() = default;
    X11ImageReader(const X11ImageReader&) = delete;
    X11ImageReader& operator=(const X11ImageReader&) = delete;
    ~X11ImageReader();

    // Room for reads of up to width x height pixels of the root's depth, which must be stored
    // in 32 bits per pixel: two areas of that size, the first one lendable (below).
    VXResult setup(X11Connection& connection, int32_t width, int32_t height);
    // Reads the rectangle; pixels() then holds height rows of width * 4 bytes. intoLent: into the
    // first area, the one lent out. `vanished` is set (and the result a success) when the
    // drawable no longer exists or is not viewable.
    VXResult read(X11Connection& connection, xcb_drawable_t drawable, int16_t x, int16_t y, uint16_t width,
                  uint16_t height, bool intoLent, bool& vanished);
    const uint8_t* pixels() const { return _pixels; }
    bool usesShm() const { return _segment != 0; }
    xcb_shm_seg_t segment() const { return _segment; }
    // The first area of the segment, for an image to keep its pixels in (null without SHM):
    // valid until the next setup that grows the segment, or the reader's end.
    uint8_t* lendableArea() const { return _segment != 0 ? static_cast<uint8_t*>(_shmAddress) : nullptr; }

private:
    void release_(X11Connection* connection);

    xcb_shm_seg_t _segment = 0;
    void* _shmAddress = nullptr;
    int64_t _capacity = 0;  // of each of the two areas
    X11Reply<xcb_get_image_reply_t> _plainReply;
    const uint8_t* _pixels = nullptr;
    xcb_connection_t* _connection = nullptr;
};
