#include "StartWorker.h"

#include "ErrorCodes.h"

namespace vistrel_node {

namespace {

std::u16string optionalText(Napi::Object options, const char* name) {
    Napi::Value value = options.Get(name);
    return value.IsString() ? value.As<Napi::String>().Utf16Value() : std::u16string();
}

const wchar_t* wideOrNull(const std::u16string& text) {
    return text.empty() ? nullptr : reinterpret_cast<const wchar_t*>(text.c_str());
}

}  // namespace

StartWorker::StartWorker(Napi::Env env, Napi::Object options, Napi::FunctionReference& hostClass)
    : Napi::AsyncWorker(env, "vistrel.start"),
      _deferred(Napi::Promise::Deferred::New(env)),
      _hostClass(hostClass),
      _serverPath(optionalText(options, "serverPath")),
      _logPath(optionalText(options, "logPath")) {
    _started.rect = {options.Get("left").As<Napi::Number>().Int32Value(),
                     options.Get("top").As<Napi::Number>().Int32Value(),
                     options.Get("right").As<Napi::Number>().Int32Value(),
                     options.Get("bottom").As<Napi::Number>().Int32Value()};
    _started.zeroCopy = options.Get("zeroCopy").ToBoolean().Value();
    Napi::Value log = options.Get("log");
    if (log.IsFunction())
        _started.log = std::make_unique<LogRelay>(env, log.As<Napi::Function>());

    _options.size = sizeof(_options);
    _options.serverPath = wideOrNull(_serverPath);
    _options.left = _started.rect.left;
    _options.top = _started.rect.top;
    _options.right = _started.rect.right;
    _options.bottom = _started.rect.bottom;
    _options.logPath = wideOrNull(_logPath);
    _options.autoRestart = options.Get("autoRestart").ToBoolean().Value() ? 1 : 0;
    Napi::Value crashRestarts = options.Get("maxCrashRestartsPerMinute");
    _options.maxCrashRestartsPerMinute =
        crashRestarts.IsNumber() ? crashRestarts.As<Napi::Number>().Uint32Value() : 3;
    if (_started.log) {
        _options.logCallback = &LogRelay::post;
        _options.logContext = _started.log.get();
    }
}

void StartWorker::Execute() {
    _result = vistrel_host_start(&_options, &_started.host);
    if (_result == VISTREL_OK && _started.zeroCopy)
        _result = vistrel_host_set_frame_mode(_started.host, VISTREL_FRAME_ZERO_COPY);
    if (_result != VISTREL_OK) {
        _error = fromWide(vistrel_host_last_error(_started.host));
        vistrel_host_close(_started.host);
        _started.host = nullptr;
    }
}

void StartWorker::OnOK() {
    Napi::Env env = Env();
    if (_result != VISTREL_OK) {
        _started.log.reset();
        _deferred.Reject(makeError(env, _result, _error).Value());
        return;
    }
    _deferred.Resolve(_hostClass.New({Napi::External<StartedHost>::New(env, &_started)}));
}

}  // namespace vistrel_node
