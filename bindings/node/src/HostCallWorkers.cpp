#include "HostCallWorkers.h"

#include "ErrorCodes.h"

namespace vistrel_node {

void WaitExitWorker::Execute() {
    _result = vistrel_host_wait_exit(_handle, _timeoutMs, &_exitCode, &_finalCode);
    _text =
        fromWide(_result == VISTREL_OK ? vistrel_host_last_text(_handle) : vistrel_host_last_error(_handle));
}

void WaitExitWorker::settle(Napi::Env env) {
    if (_result != VISTREL_OK) {
        _deferred.Reject(makeError(env, _result, _text).Value());
        return;
    }
    Napi::Object exit = Napi::Object::New(env);
    exit.Set("exitCode", _exitCode);
    exit.Set("finalCode", _finalCode);
    exit.Set("text", Napi::String::New(env, _text));
    _deferred.Resolve(exit);
}

}  // namespace vistrel_node
