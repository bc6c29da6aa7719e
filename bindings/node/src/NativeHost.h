// The JavaScript object behind one vistrel.Host: owns a VistrelHost and the relay of its log.
// Every blocking call on the host runs as async work on libuv's thread pool; JavaScript (index.js)
// queues the calls so that at most one runs at a time, as the C interface requires, and this
// class refuses an overlapping one. A host collected without close() ends its server in its
// finalizer. All members are used on the JavaScript thread only; workers read _host while the
// object is marked busy.
#pragma once

#include <napi.h>

#include <memory>

#include "LogRelay.h"
#include "vistrel_host.h"

namespace vistrel_node {

// What a successful start hands to the new object.
struct StartedHost {
    VistrelHost* host = nullptr;
    std::unique_ptr<LogRelay> log;
    VistrelRect rect{};
    bool zeroCopy = false;
};

class NativeHost : public Napi::ObjectWrap<NativeHost> {
public:
    static Napi::Function define(Napi::Env env);
    // info[0]: an External<StartedHost> whose contents the object takes over.
    explicit NativeHost(const Napi::CallbackInfo& info);
    ~NativeHost() override;

    VistrelHost* handle() const { return _host; }
    // An operation's worker ended (on the JavaScript thread).
    void finished() { _busy = false; }
    // A zero-copy frame's Buffer: detached before the block it shows changes or goes away.
    void setView(Napi::ArrayBuffer view);

private:
    Napi::Value capture(const Napi::CallbackInfo& info);
    Napi::Value waitExit(const Napi::CallbackInfo& info);
    Napi::Value close(const Napi::CallbackInfo& info);
    // Any time, even while a capture runs: that capture returns 2028 promptly.
    Napi::Value cancel(const Napi::CallbackInfo& info);
    // Quick calls made on the JavaScript thread, between the blocking ones (never beside them).
    Napi::Value restartCount(const Napi::CallbackInfo& info);
    Napi::Value serverProcessId(const Napi::CallbackInfo& info);
    Napi::Value identifier(const Napi::CallbackInfo& info);
    Napi::Value setRect(const Napi::CallbackInfo& info);
    // Marks the host busy; throws when it is closed or another call runs.
    void begin_(Napi::Env env);
    // Throws the host's last error for a failed quick call.
    [[noreturn]] void fail_(Napi::Env env, int32_t result);
    void detachView_() noexcept;

    VistrelHost* _host = nullptr;
    std::unique_ptr<LogRelay> _log;
    VistrelRect _rect{};
    bool _zeroCopy = false;
    bool _busy = false;
    napi_ref _view = nullptr;  // weak: the view may be collected before it is detached
};

}  // namespace vistrel_node
