#include "VXCrashHandler.h"

#include <execinfo.h>
#include <link.h>
#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <ucontext.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace {

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
constexpr size_t kSignalCount = sizeof(kSignals) / sizeof(kSignals[0]);
constexpr size_t kAltStackSize = 64 * 1024;
constexpr size_t kMaxModules = 256;
constexpr size_t kMaxPath = 256;
constexpr int kMaxFrames = 64;
// Log lines carry the fixed clock of every other line: UTC minus 8 hours.
constexpr int64_t kClockOffsetSeconds = 8 * 3600;

struct Module {
    uintptr_t start = 0;  // lowest and highest address of its loaded segments
    uintptr_t end = 0;
    uintptr_t base = 0;  // what offsets are counted from (the load bias)
    char path[kMaxPath] = {};
};

Module gModules[kMaxModules];
size_t gModuleCount = 0;
alignas(16) char gAltStack[kAltStackSize];
struct sigaction gPrevious[kSignalCount];
bool gInstalled = false;

void copyPath(char* to, const char* from) {
    size_t i = 0;
    for (; from != nullptr && from[i] != '\0' && i + 1 < kMaxPath; ++i)
        to[i] = from[i];
    to[i] = '\0';
}

int addModule(dl_phdr_info* info, size_t, void*) {
    if (gModuleCount == kMaxModules)
        return 1;
    Module& module = gModules[gModuleCount];
    module.start = UINTPTR_MAX;
    module.end = 0;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = info->dlpi_phdr[i];
        if (segment.p_type != PT_LOAD)
            continue;
        const uintptr_t from = info->dlpi_addr + segment.p_vaddr;
        if (from < module.start)
            module.start = from;
        if (from + segment.p_memsz > module.end)
            module.end = from + segment.p_memsz;
    }
    if (module.end == 0)
        return 0;
    module.base = info->dlpi_addr;
    if (info->dlpi_name != nullptr && info->dlpi_name[0] != '\0') {
        copyPath(module.path, info->dlpi_name);
    } else if (gModuleCount == 0) {
        // The program itself comes first, without a name.
        const ssize_t n = readlink("/proc/self/exe", module.path, kMaxPath - 1);
        module.path[n > 0 ? n : 0] = '\0';
    }
    ++gModuleCount;
    return 0;
}

const Module* moduleOf(uintptr_t address) {
    for (size_t i = 0; i < gModuleCount; ++i) {
        if (address >= gModules[i].start && address < gModules[i].end)
            return &gModules[i];
    }
    return nullptr;
}

constexpr char kHexDigits[] = "0123456789ABCDEF";

// One log line built in a fixed buffer: no allocation, no locale, no stdio.
class Line {
public:
    Line& put(char c) {
        if (_n < sizeof(_buffer) - 1)
            _buffer[_n++] = c;
        return *this;
    }
    Line& text(const char* s) {
        while (s != nullptr && *s != '\0')
            put(*s++);
        return *this;
    }
    Line& dec(uint64_t value, int width = 0) {
        char digits[24];
        int n = 0;
        do {
            digits[n++] = static_cast<char>('0' + value % 10);
            value /= 10;
        } while (value != 0);
        for (int pad = n; pad < width; ++pad)
            text("0");
        while (n > 0)
            put(digits[--n]);
        return *this;
    }
    Line& hex(uint64_t value) {
        text("0x");
        for (int shift = 60; shift >= 0; shift -= 4)
            put(kHexDigits[(value >> shift) & 0xF]);
        return *this;
    }
    Line& hexShort(uint64_t value) {
        text("0x");
        int shift = 60;
        while (shift > 0 && ((value >> shift) & 0xF) == 0)
            shift -= 4;
        for (; shift >= 0; shift -= 4)
            put(kHexDigits[(value >> shift) & 0xF]);
        return *this;
    }
    void write() {
        _buffer[_n++] = '\n';
        size_t done = 0;
        while (done < _n) {
            const ssize_t w = ::write(STDERR_FILENO, _buffer + done, _n - done);
            if (w <= 0)
                break;
            done += static_cast<size_t>(w);
        }
    }

private:
    char _buffer[512];
    size_t _n = 0;
};

// The start of every crash line, in the format of the log's other lines at the critical level.
Line crashLine() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const int64_t shifted = static_cast<int64_t>(now.tv_sec) - kClockOffsetSeconds;
    int64_t days = shifted / 86400;
    int64_t secondOfDay = shifted % 86400;
    if (secondOfDay < 0) {
        secondOfDay += 86400;
        --days;
    }
    // Civil date from days since 1970-01-01.
    days += 719468;
    const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const auto doe = static_cast<uint64_t>(days - era * 146097);
    const uint64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const uint64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const uint64_t mp = (5 * doy + 2) / 153;
    const uint64_t day = doy - (153 * mp + 2) / 5 + 1;
    const uint64_t month = mp < 10 ? mp + 3 : mp - 9;
    const uint64_t year = static_cast<uint64_t>(static_cast<int64_t>(yoe) + era * 400) + (month <= 2 ? 1 : 0);

    Line line;
    line.dec(year, 4).text("-").dec(month, 2).text("-").dec(day, 2).text(" ");
    line.dec(static_cast<uint64_t>(secondOfDay / 3600), 2).text(":");
    line.dec(static_cast<uint64_t>(secondOfDay / 60 % 60), 2).text(":");
    line.dec(static_cast<uint64_t>(secondOfDay % 60), 2).text(".");
    line.dec(static_cast<uint64_t>(now.tv_nsec / 1000000), 3).text(" PST C: [");
    line.dec(static_cast<uint64_t>(syscall(SYS_gettid))).text("] <VXCrashHandler.cpp> VXCrashHandler - ");
    return line;
}

const char* signalName(int signal) {
    switch (signal) {
        case SIGSEGV:
            return "SIGSEGV";
        case SIGBUS:
            return "SIGBUS";
        case SIGILL:
            return "SIGILL";
        case SIGFPE:
            return "SIGFPE";
        case SIGABRT:
            return "SIGABRT";
        default:
            return "signal";
    }
}

void writeFrame(int index, uintptr_t address) {
    Line line = crashLine();
    line.text("#").dec(static_cast<uint64_t>(index)).text(" ").hex(address).text(" ");
    if (const Module* module = moduleOf(address))
        line.text(module->path).text("+").hexShort(address - module->base);
    else
        line.text("?");
    line.write();
}

uintptr_t instructionOf(void* context) {
#if defined(__x86_64__)
    return static_cast<uintptr_t>(static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_RIP]);
#else
    (void)context;
    return 0;
#endif
}

void onCrash(int signal, siginfo_t* info, void* context) {
    const int savedErrno = errno;
    crashLine().text("*** Crash ***").write();
    Line cause = crashLine();
    cause.text("Signal ")
        .text(signalName(signal))
        .text(" (")
        .dec(static_cast<uint64_t>(signal))
        .text("), code ");
    if (info->si_code < 0)
        cause.text("-").dec(static_cast<uint64_t>(-static_cast<int64_t>(info->si_code)));
    else
        cause.dec(static_cast<uint64_t>(info->si_code));
    // The kernel's own signals (code above 0) carry the faulting address; a sent or raised one
    // carries its sender instead.
    if (info->si_code > 0)
        cause.text(", fault address ").hex(reinterpret_cast<uintptr_t>(info->si_addr));
    else
        cause.text(", sent by process ").dec(static_cast<uint64_t>(info->si_pid));
    cause.write();
    const uintptr_t instruction = instructionOf(context);
    if (instruction != 0)
        writeFrame(0, instruction);

    void* frames[kMaxFrames];
    const int count = backtrace(frames, kMaxFrames);
    crashLine().text("Backtrace of ").dec(static_cast<uint64_t>(count)).text(" frames").write();
    for (int i = 0; i < count; ++i)
        writeFrame(i + 1, reinterpret_cast<uintptr_t>(frames[i]));

    // The signal again under its default action: the process ends as the signal says.
    struct sigaction fallback {};
    fallback.sa_handler = SIG_DFL;
    sigemptyset(&fallback.sa_mask);
    sigaction(signal, &fallback, nullptr);
    sigset_t unblock;
    sigemptyset(&unblock);
    sigaddset(&unblock, signal);
    pthread_sigmask(SIG_UNBLOCK, &unblock, nullptr);
    errno = savedErrno;
    raise(signal);
}

}  // namespace

void VXCrashHandler::install() {
    if (gInstalled)
        return;
    gModuleCount = 0;
    dl_iterate_phdr(addModule, nullptr);
    // The first backtrace loads the unwinder; in the handler it must already be there.
    void* warm[4];
    backtrace(warm, 4);

    stack_t stack{};
    stack.ss_sp = gAltStack;
    stack.ss_size = sizeof(gAltStack);
    sigaltstack(&stack, nullptr);

    struct sigaction action {};
    action.sa_sigaction = onCrash;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (size_t i = 0; i < kSignalCount; ++i)
        sigaction(kSignals[i], &action, &gPrevious[i]);
    gInstalled = true;
}

void VXCrashHandler::uninstall() {
    if (!gInstalled)
        return;
    for (size_t i = 0; i < kSignalCount; ++i)
        sigaction(kSignals[i], &gPrevious[i], nullptr);
    stack_t none{};
    none.ss_flags = SS_DISABLE;
    sigaltstack(&none, nullptr);
    gInstalled = false;
}
