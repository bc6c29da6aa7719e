#include "CaptureWorker.h"

#include <cstring>
#include <utility>

#include "ErrorCodes.h"

namespace vistrel_node {

CaptureWorker::CaptureWorker(NativeHost& host, Napi::Object self, std::vector<uint64_t> windows, bool cursor,
                             uint32_t timeoutMs, bool zeroCopy, size_t frameBytes)
    : HostWorker(host, self, "vistrel.capture"),
      _windows(std::move(windows)),
      _cursor(cursor),
      _timeoutMs(timeoutMs),
      _zeroCopy(zeroCopy) {
    _frame.size = sizeof(_frame);
    if (!_zeroCopy) {
        Napi::Buffer<uint8_t> target = Napi::Buffer<uint8_t>::New(self.Env(), frameBytes);
        _targetData = target.Data();
        _targetSize = target.Length();
        _target = Napi::Persistent(target);
    }
}

void CaptureWorker::Execute() {
    _result = vistrel_host_capture(_handle, _windows.data(), static_cast<uint32_t>(_windows.size()),
                                   _cursor ? 1 : 0, _timeoutMs, &_frame);
    if (_result != VISTREL_OK) {
        _text = fromWide(vistrel_host_last_error(_handle));
        return;
    }
    // Everything the host lends is copied out now: it lives only until the next call.
    _text = fromWide(_frame.text);
    _rects.assign(_frame.rects, _frame.rects + _frame.rectCount);
    if (_zeroCopy || _frame.code != VISTREL_OK || _frame.pixels == nullptr)
        return;
    const size_t bytes = static_cast<size_t>(_frame.stride) * static_cast<size_t>(_frame.height);
    if (bytes == _targetSize) {
        std::memcpy(_targetData, _frame.pixels, bytes);
        _copied = true;
    } else {
        _spill.assign(_frame.pixels, _frame.pixels + bytes);
    }
}

Napi::Value CaptureWorker::pixels_(Napi::Env env) {
    if (_frame.code != VISTREL_OK || _frame.pixels == nullptr)
        return Napi::Buffer<uint8_t>::New(env, 0);
    if (_copied)
        return _target.Value();
    if (!_zeroCopy)
        return Napi::Buffer<uint8_t>::Copy(env, _spill.data(), _spill.size());
    const size_t bytes = static_cast<size_t>(_frame.stride) * static_cast<size_t>(_frame.height);
    // The block's own memory; the host detaches this Buffer before the block changes or goes.
    napi_value view = nullptr;
    const napi_status status =
        napi_create_external_buffer(env, bytes, const_cast<uint8_t*>(_frame.pixels), nullptr, nullptr, &view);
    if (status != napi_ok) {
        // Runtimes with a V8 sandbox (Electron) refuse outside memory: hand out a copy instead.
        return Napi::Buffer<uint8_t>::Copy(env, _frame.pixels, bytes);
    }
    Napi::Buffer<uint8_t> buffer(env, view);
    _host.setView(buffer.ArrayBuffer());
    return buffer;
}

void CaptureWorker::settle(Napi::Env env) {
    if (_result != VISTREL_OK) {
        _deferred.Reject(makeError(env, _result, _text).Value());
        return;
    }
    Napi::Object frame = Napi::Object::New(env);
    frame.Set("code", _frame.code);
    frame.Set("text", Napi::String::New(env, _text));
    frame.Set("width", _frame.width);
    frame.Set("height", _frame.height);
    frame.Set("stride", _frame.stride);
    frame.Set("data", pixels_(env));
    Napi::Array rects = Napi::Array::New(env, _rects.size());
    for (uint32_t i = 0; i < _rects.size(); ++i) {
        Napi::Object rect = Napi::Object::New(env);
        rect.Set("left", _rects[i].left);
        rect.Set("top", _rects[i].top);
        rect.Set("right", _rects[i].right);
        rect.Set("bottom", _rects[i].bottom);
        rects.Set(i, rect);
    }
    frame.Set("rects", rects);
    Napi::Object wait = Napi::Object::New(env);
    wait.Set("iterations", _frame.waitIterations);
    wait.Set("milliseconds", _frame.waitMilliseconds);
    wait.Set("timedOut", _frame.waitTimedOut != 0);
    frame.Set("wait", wait);
    _deferred.Resolve(frame);
}

}  // namespace vistrel_node
