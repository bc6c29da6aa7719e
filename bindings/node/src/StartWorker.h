// vistrel_host_start off the JavaScript thread; resolves with a NativeHost. A failed start is
// closed on the worker and rejects with the start's result as `.code`.
#pragma once

#include <napi.h>

#include <string>

#include "NativeHost.h"

namespace vistrel_node {

class StartWorker : public Napi::AsyncWorker {
public:
    // options: {left, top, right, bottom, serverPath?, logPath?, log?: function, zeroCopy?}
    StartWorker(Napi::Env env, Napi::Object options, Napi::FunctionReference& hostClass);
    Napi::Promise promise() const { return _deferred.Promise(); }

private:
    void Execute() override;
    void OnOK() override;

    Napi::Promise::Deferred _deferred;
    Napi::FunctionReference& _hostClass;
    std::u16string _serverPath;
    std::u16string _logPath;
    VistrelStartOptions _options{};
    StartedHost _started;
    int32_t _result = 0;
    std::u16string _error;
};

}  // namespace vistrel_node
