// The command line of vistrel-grab.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "VXRect.h"
#include "VXResult.h"
#include "VXString.h"

struct GrabOptions {
    VXRect rect;
    // Window handles: an HWND on Windows, an X window id on Linux.
    std::vector<uint64_t> excludeHandles;
    std::vector<VXString> excludeTitles;
    bool cursor = false;
    uint32_t count = 1;
    // One path, or a pattern with %d for the capture number (1-based); empty: nothing saved.
    VXString output;
    VXString serverPath;
    // The server's log with the host's lines; crash dumps go beside it.
    VXString logPath;
    bool unitTestMode = false;
    bool help = false;
    bool listMonitors = false;
    // Index into the monitor list (primary first); -1: the rectangle comes from --rect.
    int32_t monitor = -1;

    // The arguments after the program name. 2005 with a message for anything malformed.
    static VXResult parse(const std::vector<VXString>& args, GrabOptions& options);
    static std::string usage();
    bool operator==(const GrabOptions&) const = default;
};
