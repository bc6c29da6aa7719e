// The reader's one connection to the X server: opened once, the extensions the capture needs
// queried once, and the facts about the screen they give kept for every capture. Owns the
// libxcb connection; used from the request loop's thread only.
#pragma once

#include <xcb/damage.h>
#include <xcb/render.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <cstdint>
#include <string>
#include <vector>

#include "VXResult.h"
#include "VXSourceLocation.h"

class X11Connection {
public:
    X11Connection() = default;
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;
    ~X11Connection();

    // displayName null or empty: $DISPLAY. Fails (2018) when an extension the capture needs is
    // missing, with its name.
    VXResult open(const char* displayName);
    bool isOpen() const { return _connection != nullptr; }
    // The connection's broken state as a result: 2000 while it works.
    VXResult checkAlive(const VXSourceLocation& site) const;
    // The connection was open and the X server has closed it: nothing will work again.
    bool isLost() const { return _connection != nullptr && xcb_connection_has_error(_connection) != 0; }

    xcb_connection_t* get() const { return _connection; }
    xcb_window_t root() const { return _root; }
    uint8_t rootDepth() const { return _rootDepth; }
    uint16_t screenWidth() const { return _screenWidth; }
    uint16_t screenHeight() const { return _screenHeight; }
    xcb_render_pictformat_t rootFormat() const { return _rootFormat; }
    // The Render format of a window's visual and whether it carries alpha; false when the
    // visual has no format.
    bool formatOfVisual(xcb_visualid_t visual, xcb_render_pictformat_t& format, bool& hasAlpha) const;
    bool hasShm() const { return _hasShm; }
    // Pixmaps whose pixels live in a shared segment, in the layout GetImage gives.
    bool hasShmPixmaps() const { return _hasShmPixmaps; }
    uint8_t damageEventBase() const { return _damageEventBase; }
    uint8_t damageErrorBase() const { return _damageErrorBase; }
    // Whether an error is what a request on a window meets when the window vanished since it
    // was listed: the core BadWindow family, or BadDamage, BadPicture or BadRegion of an
    // object made for that window, which then failed too.
    bool isVanishedWindowError(const xcb_generic_error_t& error) const;
    // _XROOTPMAP_ID, where desktops publish their wallpaper, and _NET_WM_CM_S<screen>, the
    // selection a running compositing manager owns.
    xcb_atom_t rootPixmapAtom() const { return _rootPixmapAtom; }
    xcb_atom_t compositorAtom() const { return _compositorAtom; }
    // Whether a property of the root is one that background setters change with the
    // background (_XROOTPMAP_ID, ESETROOT_PMAP_ID, _XSETROOT_ID).
    bool isBackgroundAtom(xcb_atom_t atom) const {
        return atom == _rootPixmapAtom || atom == _esetrootAtom || atom == _xsetrootAtom;
    }
    uint8_t xfixesEventBase() const { return _xfixesEventBase; }

private:
    struct VisualFormat {
        xcb_visualid_t visual;
        xcb_render_pictformat_t format;
        bool hasAlpha;
    };

    VXResult queryExtensions_();
    VXResult queryFormats_();
    VXResult internAtom_(const std::string& name, xcb_atom_t& atom);
    void close_();

    xcb_connection_t* _connection = nullptr;
    xcb_window_t _root = 0;
    xcb_visualid_t _rootVisual = 0;
    uint8_t _rootDepth = 0;
    uint16_t _screenWidth = 0;
    uint16_t _screenHeight = 0;
    int _screenNumber = 0;
    xcb_render_pictformat_t _rootFormat = 0;
    std::vector<VisualFormat> _visualFormats;
    bool _hasShm = false;
    bool _hasShmPixmaps = false;
    uint8_t _damageEventBase = 0;
    uint8_t _damageErrorBase = 0;
    uint8_t _renderErrorBase = 0;
    uint8_t _xfixesErrorBase = 0;
    xcb_atom_t _rootPixmapAtom = 0;
    xcb_atom_t _compositorAtom = 0;
    xcb_atom_t _esetrootAtom = 0;
    xcb_atom_t _xsetrootAtom = 0;
    uint8_t _xfixesEventBase = 0;
};
