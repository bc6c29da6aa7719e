// The addon's entry: start(), monitors() and the library's version. index.js builds the public
// API on these.
#include <napi.h>

#include <vector>

#include "ErrorCodes.h"
#include "NativeHost.h"
#include "StartWorker.h"
#include "vistrel_host.h"

namespace vistrel_node {

namespace {

struct AddonData {
    Napi::FunctionReference hostClass;
};

class MonitorsWorker : public Napi::AsyncWorker {
public:
    explicit MonitorsWorker(Napi::Env env)
        : Napi::AsyncWorker(env, "vistrel.monitors"), _deferred(Napi::Promise::Deferred::New(env)) {}
    Napi::Promise promise() const { return _deferred.Promise(); }

private:
    void Execute() override {
        uint32_t count = 0;
        _result = vistrel_host_list_monitors(nullptr, 0, &count, nullptr);
        // A monitor plugged in between the two calls is left for the next listing.
        if (_result == VISTREL_OK && count > 0) {
            _monitors.resize(count);
            _result = vistrel_host_list_monitors(_monitors.data(), count, &count, nullptr);
            _monitors.resize(count < _monitors.size() ? count : _monitors.size());
        }
    }

    static Napi::Object rect(Napi::Env env, const VistrelRect& r) {
        Napi::Object object = Napi::Object::New(env);
        object.Set("left", r.left);
        object.Set("top", r.top);
        object.Set("right", r.right);
        object.Set("bottom", r.bottom);
        return object;
    }

    void OnOK() override {
        Napi::Env env = Env();
        if (_result != VISTREL_OK) {
            _deferred.Reject(makeError(env, _result, u"Listing the monitors failed").Value());
            return;
        }
        Napi::Array list = Napi::Array::New(env, _monitors.size());
        for (uint32_t i = 0; i < _monitors.size(); ++i) {
            Napi::Object monitor = Napi::Object::New(env);
            monitor.Set("bounds", rect(env, _monitors[i].bounds));
            monitor.Set("workArea", rect(env, _monitors[i].workArea));
            monitor.Set("primary", _monitors[i].primary != 0);
            monitor.Set("deviceName", Napi::String::New(env, fromWide(_monitors[i].deviceName)));
            list.Set(i, monitor);
        }
        _deferred.Resolve(list);
    }

    Napi::Promise::Deferred _deferred;
    int32_t _result = 0;
    std::vector<VistrelMonitor> _monitors;
};

Napi::Value start(const Napi::CallbackInfo& info) {
    if (info.Length() < 1 || !info[0].IsObject())
        throw Napi::TypeError::New(info.Env(), "start(options)");
    auto* worker = new StartWorker(info.Env(), info[0].As<Napi::Object>(),
                                   info.Env().GetInstanceData<AddonData>()->hostClass);
    worker->Queue();
    return worker->promise();
}

Napi::Value monitors(const Napi::CallbackInfo& info) {
    auto* worker = new MonitorsWorker(info.Env());
    worker->Queue();
    return worker->promise();
}

Napi::Object init(Napi::Env env, Napi::Object exports) {
    auto* data = new AddonData{Napi::Persistent(NativeHost::define(env))};
    env.SetInstanceData(data);
    exports.Set("start", Napi::Function::New<start>(env, "start"));
    exports.Set("monitors", Napi::Function::New<monitors>(env, "monitors"));
    exports.Set("version", Napi::String::New(env, vistrel_host_version()));
    return exports;
}

}  // namespace

}  // namespace vistrel_node

static Napi::Object initVistrel(Napi::Env env, Napi::Object exports) {
    return vistrel_node::init(env, exports);
}

NODE_API_MODULE(vistrel, initVistrel)
