// Turns what the X server and libxcb report into results: an X error names the request that
// met it, a broken connection names its cause. Stateless; callable from any thread.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>

#include "VXResult.h"
#include "VXSourceLocation.h"

class X11Errors {
public:
    // "Method "%s" returned X error [%d]. %hs (request %d.%d, resource 0x%X)", then
    // "Error returned to %s". BadAlloc is 2004, BadAccess 2006, every other error 2020.
    static VXResult fromError(const char16_t* method, const xcb_generic_error_t& error,
                              const VXSourceLocation& site);
    // "Connection to the X server lost: %hs [%d]" (2010) for xcb_connection_has_error's code.
    static VXResult connectionLost(int xcbError, const VXSourceLocation& site);
    // BadWindow, BadPixmap, BadMatch and BadDrawable: what a request on a window meets when
    // the window was unmapped or destroyed after it was listed.
    static bool isVanishedWindow(const xcb_generic_error_t& error);
    static const char* errorName(uint8_t code);
};

// The error result of a request, with the site of the call that made it.
#define VX_X11_ERROR(method, error) ::X11Errors::fromError(method, (error), VX_SITE)
