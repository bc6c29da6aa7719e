#include "X11RequestBatch.h"

#include "VXChecks.h"
#include "X11Errors.h"
#include "X11Reply.h"

VXResult X11RequestBatch::check(bool& vanished, const VXSourceLocation& site) {
    VXResult first;
    // The last request is checked first: its check waits for the server once, after which
    // the others' answers are already here.
    for (auto it = _requests.rbegin(); it != _requests.rend(); ++it) {
        X11Reply<xcb_generic_error_t> error(xcb_request_check(_connection.get(), it->cookie));
        if (error == nullptr)
            continue;
        if (it->onWindow && _connection.isVanishedWindowError(*error)) {
            vanished = true;
            continue;
        }
        first = X11Errors::fromError(it->method, *error, site);
    }
    _requests.clear();
    if (const int broken = xcb_connection_has_error(_connection.get()); broken != 0)
        return X11Errors::connectionLost(broken, site);
    return first;
}
