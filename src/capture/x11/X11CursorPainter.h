// Draws the pointer's cursor into a captured image: the XFixes cursor image (premultiplied
// ARGB) at the pointer position less its hot spot, blended over the pixels beneath. Stateless;
// called from the reader's thread.
#pragma once

#include "VXImage.h"
#include "VXRect.h"
#include "VXResult.h"
#include "X11Connection.h"

class X11CursorPainter {
public:
    // image holds the capture of captureRect (root coordinates). drewColor: some pixel the
    // cursor touched is not black afterwards.
    static VXResult paint(X11Connection& connection, const VXRect& captureRect, VXImage& image,
                          bool& drewColor);
    // One premultiplied ARGB pixel over one 32-bit BGRX pixel (0x00RRGGBB); the X byte is kept.
    static uint32_t blend(uint32_t cursor, uint32_t under);
};
