#include "MonitorsWorker.h"

#include "ErrorCodes.h"

namespace vistrel_node {

namespace {

Napi::Object rectObject(Napi::Env env, const VistrelRect& r) {
    Napi::Object object = Napi::Object::New(env);
    object.Set("left", r.left);
    object.Set("top", r.top);
    object.Set("right", r.right);
    object.Set("bottom", r.bottom);
    return object;
}

}  // namespace

void MonitorsWorker::Execute() {
    uint32_t count = 0;
    _result = vistrel_host_list_monitors(nullptr, 0, &count, nullptr);
    // A monitor plugged in between the two calls is left for the next listing.
    if (_result == VISTREL_OK && count > 0) {
        _monitors.resize(count);
        _result = vistrel_host_list_monitors(_monitors.data(), count, &count, nullptr);
        if (count < _monitors.size())
            _monitors.resize(count);
    }
}

void MonitorsWorker::OnOK() {
    Napi::Env env = Env();
    if (_result != VISTREL_OK) {
        _deferred.Reject(makeError(env, _result, u"Listing the monitors failed").Value());
        return;
    }
    Napi::Array list = Napi::Array::New(env, _monitors.size());
    for (uint32_t i = 0; i < _monitors.size(); ++i) {
        Napi::Object monitor = Napi::Object::New(env);
        monitor.Set("bounds", rectObject(env, _monitors[i].bounds));
        monitor.Set("workArea", rectObject(env, _monitors[i].workArea));
        monitor.Set("primary", _monitors[i].primary != 0);
        monitor.Set("deviceName", Napi::String::New(env, fromWide(_monitors[i].deviceName)));
        list.Set(i, monitor);
    }
    _deferred.Resolve(list);
}

}  // namespace vistrel_node
