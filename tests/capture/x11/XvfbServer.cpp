#include "XvfbServer.h"

#include <xcb/xcb.h>

#include <chrono>
#include <thread>

namespace {

constexpr int kFirstDisplay = 63;
constexpr int kLastDisplay = 66;
constexpr int kStartPolls = 200;
constexpr auto kStartPoll = std::chrono::milliseconds(10);

bool accepts(const std::string& display) {
    xcb_connection_t* connection = xcb_connect(display.c_str(), nullptr);
    const bool ok = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    return ok;
}

}  // namespace

bool XvfbServer::start(const std::string& size, const std::vector<std::string>& extra) {
    for (int number = kFirstDisplay; number <= kLastDisplay; ++number) {
        const std::string display = ":" + std::to_string(number);
        if (accepts(display))
            continue;  // someone else's
        std::vector<std::string> argv = {"Xvfb", display,     "-screen", "0",
                                         size,   "-nolisten", "tcp",     "-noreset"};
        argv.insert(argv.end(), extra.begin(), extra.end());
        if (!_process.start(argv))
            return false;
        for (int i = 0; i < kStartPolls && _process.running(); ++i) {
            if (accepts(display)) {
                _display = display;
                return true;
            }
            std::this_thread::sleep_for(kStartPoll);
        }
        _process.stop();  // the number was taken after all: try the next
    }
    return false;
}
