// The demo desktop's command line: /timeout SECONDS, /quitevent NAME, /readyfile PATH.
#pragma once

#include <string>
#include <vector>

struct DemoOptions {
    unsigned timeoutSeconds = 0;  // 0: no time limit
    std::wstring quitEvent;
    std::wstring readyFile;

    // False on an unknown switch or a missing or malformed value.
    static bool parse(const std::vector<std::wstring>& args, DemoOptions& options);
};
