// An Xvfb display of the tests' own, on the first free number of the few set aside for these
// tests (:63 to :66). Ended with the object. Test-thread only.
#pragma once

#include <string>
#include <vector>

#include "XChildProcess.h"

class XvfbServer {
public:
    // size: "WIDTHxHEIGHTxDEPTH". extra: more server options (for example "-br"). The server
    // never resets: a reset when the last client leaves would refuse the next one for a while.
    bool start(const std::string& size = "1024x768x24", const std::vector<std::string>& extra = {});
    const std::string& display() const { return _display; }
    void kill() { _process.kill(); }
    void stop() { _process.stop(); }

private:
    XChildProcess _process;
    std::string _display;
};
