#include "VXLog.h"

#include <atomic>

#include "VXLogCollapser.h"
#include "VXThreadLocal.h"

namespace {

struct Logger {
    std::mutex lock;  // guards the slots only; no lock is held while a stage runs
    std::shared_ptr<ILogListener> first;
    std::shared_ptr<ILogListener> second;
    std::shared_ptr<VXLogCollapser> collapser = std::make_shared<VXLogCollapser>();
    std::shared_ptr<ILogFormatter> formatter = std::make_shared<VXLogFormatter>();
    std::shared_ptr<const std::vector<std::shared_ptr<ILogTarget>>> targets =
        std::make_shared<std::vector<std::shared_ptr<ILogTarget>>>(
            std::vector<std::shared_ptr<ILogTarget>>{std::make_shared<VXLogTargetConsole>()});
    std::shared_ptr<const std::vector<std::shared_ptr<ILogTarget>>> secondTargets =
        std::make_shared<std::vector<std::shared_ptr<ILogTarget>>>();
    bool secondTargetListActive = false;
};

Logger& logger() {
    // Made on first use and never destroyed, so that messages logged during exit still go out.
    static Logger* instance = new Logger;
    return *instance;
}

std::atomic<bool> gThreadNaming{true};
VXThreadLocal<VXString> tThreadName;

void deliver(const VXLogData& data) {
    Logger& l = logger();
    std::shared_ptr<ILogListener> first, second;
    std::shared_ptr<ILogFormatter> formatter;
    std::shared_ptr<const std::vector<std::shared_ptr<ILogTarget>>> targets;
    std::shared_ptr<const std::vector<std::shared_ptr<ILogTarget>>> secondTargets;
    {
        std::lock_guard<std::mutex> guard(l.lock);
        first = l.first;
        second = l.second;
        formatter = l.formatter;
        targets = l.targets;
        if (l.secondTargetListActive)
            secondTargets = l.secondTargets;
    }
    if (!formatter)
        return;
    const VXString stamp = formatter->timestamp();
    if (second)
        second->onMessage(data, stamp);
    if (first)
        first->onMessage(data, stamp);
    VXString line;
    if (formatter->formatLine(data, stamp, line).isError())
        return;
    for (const auto& target : *targets)
        target->write(line);
    if (secondTargets) {
        for (const auto& target : *secondTargets)
            target->write(line);
    }
}

VXString narrowText(const char* text) {
    return text ? VXString::fromUtf8(text) : VXString();
}

}  // namespace

void VXLog::logArgs(int32_t level, const char* file, const char* function, const char16_t* tag,
                    const char16_t* fmt, const VXFormatArg* args, size_t count, bool collapse) {
    if (fmt == nullptr || *fmt == u'\0')
        return;
    VXLogData data;
    if (!data.message.formatArgs(fmt, args, count))
        return;
    data.level = level;
    data.thread = threadIdentity();
    data.file = narrowText(file ? VXSourceLocation::fileName(file) : nullptr);
    data.function = narrowText(function);
    if (tag != nullptr)
        data.tag = tag;

    std::shared_ptr<VXLogCollapser> collapser;
    {
        Logger& l = logger();
        std::lock_guard<std::mutex> guard(l.lock);
        collapser = l.collapser;
    }
    if (collapser && !collapse) {
        collapser->flush(deliver);
    } else if (collapser && collapser->offer(data, deliver).code() == VXError::eNoError) {
        return;
    }
    deliver(data);
}

void VXLog::logResult(int32_t level, const char16_t* function, const VXResult& result,
                      const char16_t* prefix) {
    if (level == VXLogLevel::eResultDefault)
        level = result.defaultLevel();
    const VXString description = result.describe(prefix ? prefix : VXLogLevel::name(level));
    const VXFormatArg list[] = {VXFormatArg(description), VXFormatArg(function ? function : u"")};
    logArgs(level, nullptr, nullptr, nullptr, u"%s at %s", list, 2);
}

void VXLog::logComError(int32_t hr, const VXSourceLocation& site) {
    const VXResult r = VXResult::fromHResult(u"<COM call>", hr);
    const VXFormatArg list[] = {VXFormatArg(site.text()), VXFormatArg(r.message())};
    logArgs(VXLogLevel::eError, nullptr, nullptr, nullptr, u"%s- %s", list, 2);
}

void VXLog::logCommandLine(int argc, const char16_t* const* argv) {
    VX_LOG(VXLogLevel::eInfo, u"Commandline args: <%d>", argc);
    for (const VXString& arg : visibleArguments(argc, argv))
        VX_LOG(VXLogLevel::eInfo, u"\t%s", arg);
}

std::vector<VXString> VXLog::visibleArguments(int argc, const char16_t* const* argv) {
    std::vector<VXString> visible;
    for (int i = 0; argv != nullptr && i < argc; ++i) {
        const VXString arg(argv[i]);
        if (arg.equalsNoCase(u"/SessionKey")) {
            ++i;  // the key's value stays out of the log too
            continue;
        }
        visible.push_back(arg);
    }
    return visible;
}

void VXLog::logStartBanner(ILogTarget& target) {
    std::shared_ptr<ILogFormatter> formatter;
    {
        Logger& l = logger();
        std::lock_guard<std::mutex> guard(l.lock);
        formatter = l.formatter;
    }
    if (!formatter)
        return;
    VXString line(u"Log file started at ");
    line += formatter->timestamp();
    target.write(line);
}

void VXLog::flush() {
    std::shared_ptr<VXLogCollapser> collapser;
    {
        Logger& l = logger();
        std::lock_guard<std::mutex> guard(l.lock);
        collapser = l.collapser;
    }
    if (collapser)
        collapser->flush(deliver);
}

void VXLog::setTargets(std::vector<std::shared_ptr<ILogTarget>> targets) {
    auto list = std::make_shared<const std::vector<std::shared_ptr<ILogTarget>>>(std::move(targets));
    Logger& l = logger();
    std::lock_guard<std::mutex> guard(l.lock);
    l.targets = std::move(list);
}

void VXLog::addTarget(std::shared_ptr<ILogTarget> target) {
    Logger& l = logger();
    std::lock_guard<std::mutex> guard(l.lock);
    auto list = std::make_shared<std::vector<std::shared_ptr<ILogTarget>>>(*l.targets);
    list->push_back(std::move(target));
    l.targets = std::move(list);
}

void VXLog::setSecondTargets(std::vector<std::shared_ptr<ILogTarget>> targets) {
    auto list = std::make_shared<const std::vector<std::shared_ptr<ILogTarget>>>(std::move(targets));
    Logger& l = logger();
    std::lock_guard<std::mutex> guard(l.lock);
    l.secondTargets = std::move(list);
}

void VXLog::setSecondTargetListActive(bool active) {
    Logger& l = logger();
    std::lock_guard<std::mutex> guard(l.lock);
    l.secondTargetListActive = active;
}

bool VXLog::isSecondTargetListActive() {
    Logger& l = logger();
    std::lock_guard<std::mutex> guard(l.lock);
    return l.secondTargetListActive;
}

void VXLog::setListener(int slot, std::shared_ptr<ILogListener> listener) {
    Logger& l = logger();
    std::lock_guard<std::mutex> guard(l.lock);
    (slot == 0 ? l.first : l.second) = std::move(listener);
}

void VXLog::setFormatter(std::shared_ptr<ILogFormatter> formatter) {
    Logger& l = logger();
    std::lock_guard<std::mutex> guard(l.lock);
    l.formatter = std::move(formatter);
}

void VXLog::setCollapsingEnabled(bool enabled) {
    std::shared_ptr<VXLogCollapser> collapser;
    {
        Logger& l = logger();
        std::lock_guard<std::mutex> guard(l.lock);
        collapser = l.collapser;
    }
    // The calling thread's held-back repeat goes out now; other threads' go out before their
    // next message.
    if (!enabled)
        collapser->flush(deliver);
    collapser->setEnabled(enabled);
}

void VXLog::setThreadNamingEnabled(bool enabled) {
    gThreadNaming = enabled;
}

void VXLog::setCurrentThreadName(const VXString& name) {
    tThreadName.get() = name;
}

VXString VXLog::threadIdentity() {
    if (!VXPlatform::isInitialized())
        return VXString();
    if (gThreadNaming && !tThreadName.get().isEmpty())
        return tThreadName.get();
    return vxFormat(u"%u", VXPlatform::currentThreadId());
}

void VXLogTracker::occurred(const char* file, const char* function) {
    int32_t count = 0;
    {
        std::lock_guard<std::mutex> guard(_lock);
        count = ++_count;
        if (count != _nextReport)
            return;
        _nextReport = _nextReport > INT32_MAX / 10 ? INT32_MAX : _nextReport * 10;
    }
    VXLog::log(VXLogLevel::eWarning, file, function, u"### %s ### issue occurred [%d] times", _name, count);
}

int32_t VXLogTracker::count() const {
    std::lock_guard<std::mutex> guard(_lock);
    return _count;
}

void VXLogBuffer::onMessage(const VXLogData& data, const VXString& timestamp) {
    if (_capacity == 0)
        return;
    VXString line;
    if (VXLogFormatter().formatLine(data, timestamp, line).isError())
        return;
    std::lock_guard<std::mutex> guard(_lock);
    if (_lines.size() < _capacity) {
        _lines.push_back(std::move(line));
    } else {
        _lines[_next] = std::move(line);
    }
    _next = (_next + 1) % _capacity;
}

std::vector<VXString> VXLogBuffer::contents() const {
    std::lock_guard<std::mutex> guard(_lock);
    if (_lines.size() < _capacity)
        return _lines;
    std::vector<VXString> ordered(_lines.begin() + static_cast<std::ptrdiff_t>(_next), _lines.end());
    ordered.insert(ordered.end(), _lines.begin(), _lines.begin() + static_cast<std::ptrdiff_t>(_next));
    return ordered;
}

void VXLogBuffer::clear() {
    std::lock_guard<std::mutex> guard(_lock);
    _lines.clear();
    _next = 0;
}
