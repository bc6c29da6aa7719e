// The host's other blocking calls as async work: waiting for the server's end, and closing.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "HostWorker.h"

namespace vistrel_node {

class WaitExitWorker : public HostWorker {
public:
    WaitExitWorker(NativeHost& host, Napi::Object self, uint32_t timeoutMs)
        : HostWorker(host, self, "vistrel.waitExit"), _timeoutMs(timeoutMs) {}

private:
    void Execute() override;
    void settle(Napi::Env env) override;

    const uint32_t _timeoutMs;
    int32_t _result = 0;
    uint32_t _exitCode = 0;
    int32_t _finalCode = 0;
    std::u16string _text;
};

// Closes a host the object has already let go of; the log relay is released only after the
// host library has stopped calling it.
class CloseWorker : public HostWorker {
public:
    CloseWorker(NativeHost& host, Napi::Object self, VistrelHost* handle, std::unique_ptr<LogRelay> log)
        : HostWorker(host, self, "vistrel.close"), _closing(handle), _log(std::move(log)) {}

private:
    void Execute() override { vistrel_host_close(_closing); }
    void settle(Napi::Env env) override {
        _log.reset();
        _deferred.Resolve(env.Undefined());
    }

    VistrelHost* const _closing;
    std::unique_ptr<LogRelay> _log;
};

}  // namespace vistrel_node
