// The texts of a collected server log that do not depend on Windows: the host's own lines,
// the server's command line as the log may show it, and the names of dumps beside the log.
#pragma once

#include <cstdint>
#include <string>

#include "VXString.h"

namespace Vistrel {

class ServerLogText {
public:
    // Every line the host library adds carries this after the timestamp, so that a reader
    // tells the host's lines from the server's own.
    static constexpr const char* kHostMarker = "[host] ";

    // "<timestamp> [host] <text>", with the server's own clock format, so that both kinds of
    // line read in one order.
    static std::string hostLine(const VXString& text);
    // The command line with "/SessionKey" and its value left out, whether they come as two
    // arguments or as one quoted "/SessionKey value"; each other argument in double quotes.
    static VXString visibleCommandLine(const VXString& commandLine);
    // "<log>.<number>.dmp".
    static VXString dumpFileName(const VXString& logPath, uint32_t number);
    // An exit code as the log shows it: decimal, and hexadecimal for an exception code.
    static VXString exitCodeText(uint32_t exitCode);
};

}  // namespace Vistrel
