// vistrel_host_list_monitors off the JavaScript thread; resolves with
// [{ bounds, workArea, primary, deviceName }], the primary monitor first.
#pragma once

#include <napi.h>

#include <vector>

#include "vistrel_host.h"

namespace vistrel_node {

class MonitorsWorker : public Napi::AsyncWorker {
public:
    explicit MonitorsWorker(Napi::Env env)
        : Napi::AsyncWorker(env, "vistrel.monitors"), _deferred(Napi::Promise::Deferred::New(env)) {}
    Napi::Promise promise() const { return _deferred.Promise(); }

private:
    void Execute() override;
    void OnOK() override;

    Napi::Promise::Deferred _deferred;
    int32_t _result = 0;
    std::vector<VistrelMonitor> _monitors;
};

}  // namespace vistrel_node
