// The X11 half of GrabDesktop.h: a connection of its own to $DISPLAY for each call.
#include "GrabDesktop.h"

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

#include "VXChecks.h"
#include "X11WindowTitles.h"

const char* const GrabDesktop::kWindowWord = "WINDOW-ID";
const char* const GrabDesktop::kServerExample = "PATH/vistrel";

namespace {

struct Disconnect {
    void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
};
using Connection = std::unique_ptr<xcb_connection_t, Disconnect>;

VXResult connect(Connection& connection, const xcb_screen_t*& screen) {
    int screenNumber = 0;
    connection.reset(xcb_connect(nullptr, &screenNumber));
    const char* display = std::getenv("DISPLAY");
    // xcb_connect never returns null: a failed connection is one in the error state.
    if (const int error = xcb_connection_has_error(connection.get()); error != 0) {
        return VX_ERROR(VXError::eNotReady, u"Cannot open X display \"%hs\" [%d]",
                        display != nullptr ? display : "", error);
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i)
        xcb_screen_next(&screens);
    if (screens.rem == 0)
        return VX_ERROR(VXError::eNotFound, u"X screen %d not found", screenNumber);
    screen = screens.data;
    return VXError::eNoError;
}

}  // namespace

VXResult GrabDesktop::findWindowsByTitle(const VXString& title, std::vector<uint64_t>& handles) {
    Connection connection;
    const xcb_screen_t* screen = nullptr;
    VX_RETURN_IF_ERROR(connect(connection, screen));
    return X11WindowTitles::find(connection.get(), screen->root, title, handles);
}

VXResult GrabDesktop::listMonitors(std::vector<Vistrel::MonitorInfo>& monitors, VXRect& virtualScreen) {
    return Vistrel::MonitorList::list(monitors, virtualScreen);
}
