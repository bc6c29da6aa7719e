#include "GrabOptions.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "GrabDesktop.h"

namespace {

bool parseRect(const VXString& text, VXRect& rect) {
    int l = 0, t = 0, r = 0, b = 0;
    char extra = 0;
    if (std::sscanf(text.toUtf8().c_str(), "%d,%d,%d,%d%c", &l, &t, &r, &b, &extra) != 4)
        return false;
    rect = VXRect(l, t, r, b);
    return !rect.isEmpty();
}

bool parseNumber(const VXString& text, uint64_t& value) {
    const std::string narrow = text.toUtf8();
    char* end = nullptr;
    // 0x... for handles as Spy tools and xwininfo print them
    value = std::strtoull(narrow.c_str(), &end, 0);
    return end != narrow.c_str() && *end == '\0';
}

}  // namespace

std::string GrabOptions::usage() {
    return std::string("usage: vistrel-grab (--rect L,T,R,B | --monitor N) [--exclude ") +
           GrabDesktop::kWindowWord +
           "]...\n"
           "                    [--exclude-title TITLE]... [--cursor] [--count N]\n"
           "                    [--out FILE.png | --out PATTERN-%d.png]\n"
           "                    [--server " +
           GrabDesktop::kServerExample +
           "] [--unit-test] [--log FILE]\n"
           "       vistrel-grab --list-monitors\n"
           "Starts the capture server for the rectangle, asks it for N captures leaving out the\n"
           "given windows (by handle, or every top-level window with that exact title), prints\n"
           "each result, its wait record, its time and its updated region, and saves the images\n"
           "as PNG. --monitor N captures monitor N of --list-monitors (0 is the primary one).\n"
           "With --log, the server's log is appended to FILE and a crash dump is written beside it.\n";
}

VXResult GrabOptions::parse(const std::vector<VXString>& args, GrabOptions& options) {
    bool haveRect = false;
    const VXString none;
    for (size_t i = 0; i < args.size(); ++i) {
        const VXString& arg = args[i];
        const bool hasValue = i + 1 < args.size();
        const VXString& value = hasValue ? args[i + 1] : none;
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
            options.excludeTitles.push_back(value);
            ++i;
        } else if (arg == u"--count") {
            uint64_t n = 0;
            if (!parseNumber(value, n) || n == 0 || n > 100000) {
                return VXResult(VXError::eBadParameter, u"Bad capture count \"%s\"", value);
            }
            options.count = static_cast<uint32_t>(n);
            ++i;
        } else if (arg == u"--out") {
            options.output = value;
            ++i;
        } else if (arg == u"--server") {
            options.serverPath = value;
            ++i;
        } else if (arg == u"--log") {
            options.logPath = value;
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
