// The process-wide logger: repeat collapser, formatter, two listener slots and the targets,
// each held by shared ownership so that a stage replaced while another thread logs stays alive.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "VXFunctionName.h"
#include "VXLogLevel.h"
#include "VXPlatform.h"
#include "VXResult.h"
#include "VXSourceLocation.h"
#include "VXString.h"

struct VXLogData {
    int32_t level = 0;
    VXString thread;
    VXString file;
    VXString function;
    VXString tag;
    VXString message;
};

class ILogTarget {
public:
    virtual ~ILogTarget() = default;
    virtual void write(const VXString& line) = 0;
};

class ILogListener {
public:
    virtual ~ILogListener() = default;
    virtual void onMessage(const VXLogData& data, const VXString& timestamp) = 0;
};

// A listener that keeps what it heard, for whoever wants the recent log back (a host showing
// its server's log, a crash report).
class ILogBuffer : public ILogListener {
public:
    virtual std::vector<VXString> contents() const = 0;
    virtual void clear() = 0;
};

class ILogFormatter {
public:
    virtual ~ILogFormatter() = default;
    virtual VXString timestamp() = 0;
    // An error result when the level has no prefix (4, above 6): the message is dropped.
    virtual VXResult formatLine(const VXLogData& data, const VXString& timestamp, VXString& line) = 0;
};

class ILogCollapser {
public:
    using Deliver = void (*)(const VXLogData& data);
    virtual ~ILogCollapser() = default;
    // 2000 when the message repeats this thread's previous one and is swallowed; otherwise
    // the stored repeats are resolved through deliver first and a non-2000 status returned.
    virtual VXResult offer(const VXLogData& data, Deliver deliver) = 0;
    virtual void flush(Deliver deliver) = 0;
};

// Writes each line to the debugger output (Windows) or standard error (elsewhere).
class VXLogTargetConsole : public ILogTarget {
public:
    void write(const VXString& line) override;
};

class VXLogTargetStdOut : public ILogTarget {
public:
    void write(const VXString& line) override;
};

// Keeps the lines in memory: for tests and for hosts that show the server's log.
class VXLogCaptureTarget : public ILogTarget {
public:
    void write(const VXString& line) override;
    std::vector<VXString> lines() const;
    void clear();

private:
    mutable std::mutex _lock;
    std::vector<VXString> _lines;
};

// Keeps the last lines in memory, each formatted as the targets would write it.
class VXLogBuffer : public ILogBuffer {
public:
    explicit VXLogBuffer(size_t capacity) : _capacity(capacity) {}
    void onMessage(const VXLogData& data, const VXString& timestamp) override;
    std::vector<VXString> contents() const override;
    void clear() override;

private:
    const size_t _capacity;
    mutable std::mutex _lock;
    std::vector<VXString> _lines;  // ring of _capacity lines once full
    size_t _next = 0;
};

class VXLog {
public:
    template <typename... Args>
    static void log(int32_t level, const char* file, const char* function, const char16_t* fmt,
                    const Args&... args) {
        const VXFormatArg list[] = {VXFormatArg(args)..., VXFormatArg(0)};
        logArgs(level, file, function, nullptr, fmt, list, sizeof...(Args));
    }
    // Past the repeat collapser, for lines that must each reach the log even when equal (the
    // pieces of a crash dump); this thread's held-back repeats are written first.
    template <typename... Args>
    static void logUncollapsed(int32_t level, const char* file, const char* function, const char16_t* fmt,
                               const Args&... args) {
        const VXFormatArg list[] = {VXFormatArg(args)..., VXFormatArg(0)};
        logArgs(level, file, function, nullptr, fmt, list, sizeof...(Args), false);
    }
    static void logArgs(int32_t level, const char* file, const char* function, const char16_t* tag,
                        const char16_t* fmt, const VXFormatArg* args, size_t count, bool collapse = true);
    // [prefix "\n\t"] "(%d) "%s"" ["\n\t" message], as "%s at %s" with the function.
    static void logResult(int32_t level, const char16_t* function, const VXResult& result,
                          const char16_t* prefix = nullptr);
    static void logComError(int32_t hr, const VXSourceLocation& site);
    // "/SessionKey" and the argument after it never reach the log.
    static void logCommandLine(int argc, const char16_t* const* argv);
    // The arguments logCommandLine shows, in order.
    static std::vector<VXString> visibleArguments(int argc, const char16_t* const* argv);
    static void logStartBanner(ILogTarget& target);
    // Resolves this thread's pending repeats.
    static void flush();

    static void setTargets(std::vector<std::shared_ptr<ILogTarget>> targets);
    static void addTarget(std::shared_ptr<ILogTarget> target);
    // A second list that receives every line too while it is switched active.
    static void setSecondTargets(std::vector<std::shared_ptr<ILogTarget>> targets);
    static void setSecondTargetListActive(bool active);
    static bool isSecondTargetListActive();
    static void setListener(int slot, std::shared_ptr<ILogListener> listener);  // slot 0 or 1
    static void setFormatter(std::shared_ptr<ILogFormatter> formatter);
    static void setCollapsingEnabled(bool enabled);
    // Thread identity text: the registered name when naming is on, else the decimal id; empty
    // while the platform layer is not initialised.
    static void setThreadNamingEnabled(bool enabled);
    static void setCurrentThreadName(const VXString& name);
    static VXString threadIdentity();
};

// The line formatter: fixed UTC-8 "PST" clock and the line layout.
class VXLogFormatter : public ILogFormatter {
public:
    static constexpr uint32_t kMaxLineLength = 65533;
    VXString timestamp() override;
    VXResult formatLine(const VXLogData& data, const VXString& timestamp, VXString& line) override;
    static VXString formatTimestamp(const VXSystemTime& utc);
};

// Counts a named issue and reports "### %s ### issue occurred [%d] times" at the first
// occurrence and at every tenfold count after it. VXLogTrackerW takes a wide name.
class VXLogTracker {
public:
    explicit VXLogTracker(const char* name) : _name(VXString::fromUtf8(name != nullptr ? name : "")) {}
    void occurred(const char* file, const char* function);
    int32_t count() const;

protected:
    explicit VXLogTracker(VXString name) : _name(std::move(name)) {}

private:
    VXString _name;
    mutable std::mutex _lock;
    int32_t _count = 0;
    int32_t _nextReport = 1;
};

class VXLogTrackerW : public VXLogTracker {
public:
    explicit VXLogTrackerW(const char16_t* name) : VXLogTracker(VXString(name)) {}
};

#define VX_LOG(level, fmt, ...) ::VXLog::log(level, __FILE__, VX_FUNC, fmt __VA_OPT__(, ) __VA_ARGS__)
#define VX_LOG_UNCOLLAPSED(level, fmt, ...) \
    ::VXLog::logUncollapsed(level, __FILE__, VX_FUNC, fmt __VA_OPT__(, ) __VA_ARGS__)
#define VX_LOG_DEBUG(fmt, ...) VX_LOG(::VXLogLevel::eDebug, fmt __VA_OPT__(, ) __VA_ARGS__)
#define VX_LOG_INFO(fmt, ...) VX_LOG(::VXLogLevel::eInfo, fmt __VA_OPT__(, ) __VA_ARGS__)
#define VX_LOG_WARNING(fmt, ...) VX_LOG(::VXLogLevel::eWarning, fmt __VA_OPT__(, ) __VA_ARGS__)
#define VX_LOG_ERROR(fmt, ...) VX_LOG(::VXLogLevel::eError, fmt __VA_OPT__(, ) __VA_ARGS__)
