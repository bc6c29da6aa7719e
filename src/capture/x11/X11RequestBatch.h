// Checked requests sent together and checked together: the errors of a whole composition come
// back with one round trip, each still named after the request that met it. A batch belongs to
// one connection and one thread.
#pragma once

#include <xcb/xcb.h>

#include <vector>

#include "VXResult.h"
#include "VXSourceLocation.h"
#include "X11Connection.h"

class X11RequestBatch {
public:
    explicit X11RequestBatch(const X11Connection& connection) : _connection(connection) {}

    // onWindow: the request names a listed window, which may have vanished since.
    void add(xcb_void_cookie_t cookie, const char16_t* method, bool onWindow) {
        _requests.push_back({cookie, method, onWindow});
    }
    bool empty() const { return _requests.empty(); }
    // Waits for the server to have handled every request. The first error of a request that
    // is not about a vanished window is the result; errors about vanished windows only set
    // `vanished`. A broken connection is its own result. Empties the batch.
    VXResult check(bool& vanished, const VXSourceLocation& site);

private:
    struct Request {
        xcb_void_cookie_t cookie;
        const char16_t* method;
        bool onWindow;
    };

    const X11Connection& _connection;
    std::vector<Request> _requests;
};
