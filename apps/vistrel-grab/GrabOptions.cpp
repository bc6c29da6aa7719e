#include "GrabOptions.h"

#include <cwchar>

namespace {

bool parseRect(const wchar_t* text, VXRect& rect) {
    int l = 0, t = 0, r = 0, b = 0;
    wchar_t extra = 0;
    if (std::swscanf(text, L"%d,%d,%d,%d%lc", &l, &t, &r, &b, &extra) != 4)
        return false;
    rect = VXRect(l, t, r, b);
    return !rect.isEmpty();
}

bool parseNumber(const wchar_t* text, uint64_t& value) {
    wchar_t* end = nullptr;
    value = std::wcstoull(text, &end, 0);  // 0x... for handles as Spy tools print them
    return end != text && *end == L'\0';
}

}  // namespace

const char* GrabOptions::usage() {
    return "usage: vistrel-grab (--rect L,T,R,B | --monitor N) [--exclude HWND]...\n"
           "                    [--exclude-title TITLE]... [--cursor] [--count N]\n"
           "                    [--out FILE.png | --out PATTERN-%d.png]\n"
           "                    [--server PATH\\Vistrel.exe] [--unit-test] [--log FILE]\n"
           "       vistrel-grab --list-monitors\n"
           "Starts the capture server for the rectangle, asks it for N captures leaving out the\n"
           "given windows (by handle, or every top-level window with that exact title), prints\n"
           "each result, its wait record, its time and its updated region, and saves the images\n"
           "as PNG. --monitor N captures monitor N of --list-monitors (0 is the primary one).\n"
           "With --log, the server's log is appended to FILE and a crash dump is written beside it.\n";
}

VXResult GrabOptions::parse(int argc, const wchar_t* const* argv, GrabOptions& options) {
    bool haveRect = false;
    for (int i = 0; i < argc; ++i) {
        const VXString arg = VXString::fromWide(argv[i]);
        const bool hasValue = i + 1 < argc;
        const wchar_t* value = hasValue ? argv[i + 1] : L"";
        if (arg == u"--help" || arg == u"-h" || arg == u"/?") {
            options.help = true;
        } else if (arg == u"--cursor") {
            options.cursor = true;
        } else if (arg == u"--unit-test") {
            options.unitTestMode = true;
        } else if (arg == u"--list-monitors") {
            options.listMonitors = true;
        } else if (!hasValue) {
            return VXResult(VXError::eBadParameter, u"Missing value after %s", arg);
        } else if (arg == u"--rect") {
            if (!parseRect(value, options.rect)) {
                return VXResult(VXError::eBadParameter, u"Bad rectangle \"%s\": want left,top,right,bottom",
                                value);
            }
            haveRect = true;
            ++i;
        } else if (arg == u"--monitor") {
            uint64_t n = 0;
            if (!parseNumber(value, n) || n > 255)
                return VXResult(VXError::eBadParameter, u"Bad monitor number \"%s\"", value);
            options.monitor = static_cast<int32_t>(n);
            ++i;
        } else if (arg == u"--exclude") {
            uint64_t handle = 0;
            if (!parseNumber(value, handle))
                return VXResult(VXError::eBadParameter, u"Bad window handle \"%s\"", value);
            options.excludeHandles.push_back(handle);
            ++i;
        } else if (arg == u"--exclude-title") {
            options.excludeTitles.push_back(VXString::fromWide(value));
            ++i;
        } else if (arg == u"--count") {
            uint64_t n = 0;
            if (!parseNumber(value, n) || n == 0 || n > 100000) {
                return VXResult(VXError::eBadParameter, u"Bad capture count \"%s\"", value);
            }
            options.count = static_cast<uint32_t>(n);
            ++i;
        } else if (arg == u"--out") {
            options.output = VXString::fromWide(value);
            ++i;
        } else if (arg == u"--server") {
            options.serverPath = VXString::fromWide(value);
            ++i;
        } else if (arg == u"--log") {
            options.logPath = VXString::fromWide(value);
            ++i;
        } else {
            return VXResult(VXError::eBadParameter, u"Unknown option %s", arg);
        }
    }
    if (haveRect && options.monitor >= 0)
        return VXResult(VXError::eBadParameter, u"--rect and --monitor exclude each other");
    if (!haveRect && options.monitor < 0 && !options.help && !options.listMonitors)
        return VXResult(VXError::eBadParameter, u"--rect is required");
    return VXError::eNoError;
}
