#include "LogRelay.h"

#include <string>

namespace vistrel_node {

namespace {

struct LogLine {
    std::string text;
    bool fromHost;
};

void deliver(Napi::Env env, Napi::Function listener, LogLine* line) {
    // env is null when the environment is going away: the line is dropped.
    if (env != nullptr && listener != nullptr)
        listener.Call({Napi::String::New(env, line->text), Napi::Boolean::New(env, line->fromHost)});
    delete line;
}

}  // namespace

LogRelay::LogRelay(Napi::Env env, Napi::Function listener)
    // No queue limit: the log thread must never block on a busy event loop.
    : _function(Napi::ThreadSafeFunction::New(env, listener, "vistrel.log", 0, 1)) {
    _function.Unref(env);
}

LogRelay::~LogRelay() {
    _function.Release();
}

void LogRelay::post(void* context, const char* line, int32_t fromHost) {
    auto* relay = static_cast<LogRelay*>(context);
    auto* item = new LogLine{line, fromHost != 0};
    if (relay->_function.NonBlockingCall(item, deliver) != napi_ok)
        delete item;
}

}  // namespace vistrel_node
