// Base of the async work that calls into one host: holds the promise, keeps the JavaScript host
// object alive while the call runs (so it cannot be collected mid-call) and clears its busy mark
// when the call ends, before the promise settles.
#pragma once

#include <napi.h>

#include "NativeHost.h"

namespace vistrel_node {

class HostWorker : public Napi::AsyncWorker {
public:
    Napi::Promise promise() const { return _deferred.Promise(); }

protected:
    HostWorker(NativeHost& host, Napi::Object self, const char* name)
        : Napi::AsyncWorker(self.Env(), name),
          _deferred(Napi::Promise::Deferred::New(self.Env())),
          _host(host),
          _handle(host.handle()),
          _self(Napi::Persistent(self)) {}

    // Resolves or rejects the promise, on the JavaScript thread.
    virtual void settle(Napi::Env env) = 0;

    Napi::Promise::Deferred _deferred;
    NativeHost& _host;
    VistrelHost* const _handle;

private:
    void OnOK() final {
        _host.finished();
        settle(Env());
    }

    Napi::ObjectReference _self;
};

}  // namespace vistrel_node
