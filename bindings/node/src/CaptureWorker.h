// One capture off the JavaScript thread. Copying mode writes the pixels into a Buffer made on
// the JavaScript thread before the call (so the copy happens on the worker, and no memory
// outside V8's heap is handed to JavaScript, which Electron forbids); zero-copy mode wraps the
// shared image block itself.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "HostWorker.h"

namespace vistrel_node {

class CaptureWorker : public HostWorker {
public:
    CaptureWorker(NativeHost& host, Napi::Object self, std::vector<uint64_t> windows, bool cursor,
                  uint32_t timeoutMs, bool zeroCopy, size_t frameBytes);

private:
    void Execute() override;
    void settle(Napi::Env env) override;
    Napi::Value pixels_(Napi::Env env);

    const std::vector<uint64_t> _windows;
    const bool _cursor;
    const uint32_t _timeoutMs;
    const bool _zeroCopy;
    Napi::Reference<Napi::Buffer<uint8_t>> _target;  // copying mode: the frame's Buffer
    uint8_t* _targetData = nullptr;
    size_t _targetSize = 0;

    int32_t _result = 0;  // the call's return value; frame members below are valid when 2000
    VistrelFrame _frame{};
    std::u16string _text;  // the answer's text, or the failure's
    std::vector<VistrelRect> _rects;
    std::vector<uint8_t> _spill;  // a frame larger than _target (not expected)
    bool _copied = false;
};

}  // namespace vistrel_node
