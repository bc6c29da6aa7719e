// Carries the server's log lines from the host library's log thread to a JavaScript function on
// the event loop, through a thread-safe function. It never keeps the process alive by itself.
// Made and released on the JavaScript thread; post() may be called from any thread until the
// host it serves is closed (the host library stops calling back before close returns).
#pragma once

#include <napi.h>

#include <cstdint>

namespace vistrel_node {

class LogRelay {
public:
    LogRelay(Napi::Env env, Napi::Function listener);
    ~LogRelay();
    LogRelay(const LogRelay&) = delete;
    LogRelay& operator=(const LogRelay&) = delete;

    // The callback the C interface takes, with this relay as its context.
    static void post(void* context, const char* line, int32_t fromHost);

private:
    Napi::ThreadSafeFunction _function;
};

}  // namespace vistrel_node
