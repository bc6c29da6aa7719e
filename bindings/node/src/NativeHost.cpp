#include "NativeHost.h"

#include <vector>

#include "CaptureWorker.h"
#include "ErrorCodes.h"
#include "HostCallWorkers.h"

namespace vistrel_node {

Napi::Function NativeHost::define(Napi::Env env) {
    return DefineClass(
        env, "NativeHost",
        {InstanceMethod<&NativeHost::capture>("capture"), InstanceMethod<&NativeHost::waitExit>("waitExit"),
         InstanceMethod<&NativeHost::close>("close"), InstanceMethod<&NativeHost::cancel>("cancel"),
         InstanceMethod<&NativeHost::restartCount>("restartCount"),
         InstanceMethod<&NativeHost::serverProcessId>("serverProcessId"),
         InstanceMethod<&NativeHost::identifier>("identifier"),
         InstanceMethod<&NativeHost::setRect>("setRect")});
}

NativeHost::NativeHost(const Napi::CallbackInfo& info) : Napi::ObjectWrap<NativeHost>(info) {
    if (info.Length() < 1 || !info[0].IsExternal())
        throw Napi::TypeError::New(info.Env(), "NativeHost is made by start()");
    StartedHost& started = *info[0].As<Napi::External<StartedHost>>().Data();
    _host = started.host;
    _log = std::move(started.log);
    _rect = started.rect;
    _zeroCopy = started.zeroCopy;
    started.host = nullptr;
}

NativeHost::~NativeHost() {
    // Collected without close(): no call can be running (a running call holds the object), so
    // the server is ended here, on the JavaScript thread; that takes a few milliseconds.
    if (_host == nullptr)
        return;
    detachView_();
    vistrel_host_close(_host);
    _log.reset();
}

void NativeHost::begin_(Napi::Env env) {
    if (_host == nullptr)
        throw makeError(env, "ERR_VISTREL_CLOSED", "The host is closed");
    if (_busy)
        throw makeError(env, "ERR_VISTREL_BUSY", "Another call on this host is running");
    _busy = true;
}

void NativeHost::setView(Napi::ArrayBuffer view) {
    detachView_();
    if (napi_create_reference(view.Env(), view, 0, &_view) != napi_ok)
        _view = nullptr;
}

void NativeHost::detachView_() noexcept {
    // Plain Node-API calls: this runs in the finalizer too, where nothing may throw. A view that
    // cannot be detached there belongs to an environment that runs no more JavaScript.
    if (_view == nullptr)
        return;
    napi_env env = Env();
    napi_value view = nullptr;
    bool detached = true;
    if (napi_get_reference_value(env, _view, &view) == napi_ok && view != nullptr &&
        napi_is_detached_arraybuffer(env, view, &detached) == napi_ok && !detached)
        napi_detach_arraybuffer(env, view);
    napi_delete_reference(env, _view);
    _view = nullptr;
}

// capture(windows: BigUint64Array, cursor: boolean, timeoutMs: number): Promise<frame>
Napi::Value NativeHost::capture(const Napi::CallbackInfo& info) {
    Napi::Env env = info.Env();
    if (info.Length() < 3 || !info[0].IsTypedArray() ||
        info[0].As<Napi::TypedArray>().TypedArrayType() != napi_biguint64_array || !info[1].IsBoolean() ||
        !info[2].IsNumber())
        throw Napi::TypeError::New(env, "capture(BigUint64Array, boolean, number)");
    auto list = info[0].As<Napi::TypedArrayOf<uint64_t>>();
    std::vector<uint64_t> windows(list.Data(), list.Data() + list.ElementLength());
    begin_(env);
    // The previous zero-copy frame shows the block this capture overwrites.
    detachView_();
    const size_t frameBytes =
        static_cast<size_t>(_rect.right - _rect.left) * static_cast<size_t>(_rect.bottom - _rect.top) * 4;
    auto* worker = new CaptureWorker(*this, info.This().As<Napi::Object>(), std::move(windows),
                                     info[1].As<Napi::Boolean>().Value(),
                                     info[2].As<Napi::Number>().Uint32Value(), _zeroCopy, frameBytes);
    worker->Queue();
    return worker->promise();
}

// waitExit(timeoutMs: number): Promise<{exitCode, finalCode, text}>
Napi::Value NativeHost::waitExit(const Napi::CallbackInfo& info) {
    Napi::Env env = info.Env();
    if (info.Length() < 1 || !info[0].IsNumber())
        throw Napi::TypeError::New(env, "waitExit(number)");
    begin_(env);
    auto* worker =
        new WaitExitWorker(*this, info.This().As<Napi::Object>(), info[0].As<Napi::Number>().Uint32Value());
    worker->Queue();
    return worker->promise();
}

// close(): Promise<void>. The object lets go of the host at once; the server ends on a worker.
Napi::Value NativeHost::close(const Napi::CallbackInfo& info) {
    Napi::Env env = info.Env();
    begin_(env);
    detachView_();
    VistrelHost* closing = _host;
    _host = nullptr;
    auto* worker = new CloseWorker(*this, info.This().As<Napi::Object>(), closing, std::move(_log));
    worker->Queue();
    return worker->promise();
}

// cancel(): undefined. Not marked busy: it is meant for the call that is. A closed host (whose
// handle is gone on this thread already) has nothing to cancel.
Napi::Value NativeHost::cancel(const Napi::CallbackInfo& info) {
    if (_host != nullptr)
        vistrel_host_cancel(_host);
    return info.Env().Undefined();
}

void NativeHost::fail_(Napi::Env env, int32_t result) {
    throw makeError(env, result, fromWide(vistrel_host_last_error(_host)));
}

// restartCount(): number
Napi::Value NativeHost::restartCount(const Napi::CallbackInfo& info) {
    Napi::Env env = info.Env();
    begin_(env);
    uint32_t count = 0;
    const int32_t result = vistrel_host_restart_count(_host, &count);
    finished();
    if (result != VISTREL_OK)
        fail_(env, result);
    return Napi::Number::New(env, count);
}

// serverProcessId(): number
Napi::Value NativeHost::serverProcessId(const Napi::CallbackInfo& info) {
    Napi::Env env = info.Env();
    begin_(env);
    uint32_t processId = 0;
    const int32_t result = vistrel_host_server_process_id(_host, &processId);
    finished();
    if (result != VISTREL_OK)
        fail_(env, result);
    return Napi::Number::New(env, processId);
}

// identifier(): string ("" without a server)
Napi::Value NativeHost::identifier(const Napi::CallbackInfo& info) {
    Napi::Env env = info.Env();
    begin_(env);
    const std::u16string text = fromWide(vistrel_host_identifier(_host));
    finished();
    return Napi::String::New(env, text);
}

// setRect(left, top, right, bottom): undefined. The next capture starts a server for it, and
// its frames have the new size.
Napi::Value NativeHost::setRect(const Napi::CallbackInfo& info) {
    Napi::Env env = info.Env();
    if (info.Length() < 4 || !info[0].IsNumber() || !info[1].IsNumber() || !info[2].IsNumber() ||
        !info[3].IsNumber())
        throw Napi::TypeError::New(env, "setRect(number, number, number, number)");
    const VistrelRect rect{info[0].As<Napi::Number>().Int32Value(), info[1].As<Napi::Number>().Int32Value(),
                           info[2].As<Napi::Number>().Int32Value(), info[3].As<Napi::Number>().Int32Value()};
    begin_(env);
    const int32_t result = vistrel_host_set_rect(_host, &rect);
    finished();
    if (result != VISTREL_OK)
        fail_(env, result);
    _rect = rect;
    return env.Undefined();
}

}  // namespace vistrel_node
