// The addon's entry: start(), monitors() and the library's version. index.js builds the public
// API on these.
#include <napi.h>

#include "MonitorsWorker.h"
#include "NativeHost.h"
#include "StartWorker.h"
#include "vistrel_host.h"

namespace vistrel_node {

namespace {

struct AddonData {
    Napi::FunctionReference hostClass;
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
