#include "ServerLogText.h"

#include <vector>

#include "VXLog.h"

namespace Vistrel {

namespace {

constexpr char16_t kSessionKeyPrefix[] = u"/SessionKey ";
// Exit codes from here up are exception codes: the process died of one.
constexpr uint32_t kFirstExceptionCode = 0xC0000000u;

// Blanks outside double quotes separate arguments; the quotes themselves are dropped.
std::vector<VXString> splitArguments(const VXString& commandLine) {
    std::vector<VXString> arguments;
    VXString current;
    bool quoted = false;
    bool inArgument = false;
    for (uint32_t i = 0; i < commandLine.length(); ++i) {
        const char16_t c = commandLine[i];
        if (c == u'"') {
            quoted = !quoted;
            inArgument = true;
        } else if (c == u' ' && !quoted) {
            if (inArgument)
                arguments.push_back(std::move(current));
            current = VXString();
            inArgument = false;
        } else {
            current.append(c);
            inArgument = true;
        }
    }
    if (inArgument)
        arguments.push_back(std::move(current));
    return arguments;
}

}  // namespace

std::string ServerLogText::hostLine(const VXString& text) {
    return VXLogFormatter().timestamp().toUtf8() + " " + kHostMarker + text.toUtf8();
}

VXString ServerLogText::visibleCommandLine(const VXString& commandLine) {
    // The server takes its options each in its own quotes, so "/SessionKey value" may be one
    // argument: split it so that the runtime's rule hides both parts.
    std::vector<VXString> arguments;
    const uint32_t prefixLength = sizeof(kSessionKeyPrefix) / sizeof(char16_t) - 1;
    for (VXString& argument : splitArguments(commandLine)) {
        VXString head;
        VXString rest;
        if (argument.length() > prefixLength && argument.substr(0, prefixLength, head).isSuccess() &&
            head.equalsNoCase(kSessionKeyPrefix) &&
            argument.substr(static_cast<int32_t>(prefixLength), rest).isSuccess()) {
            arguments.emplace_back(u"/SessionKey");
            arguments.push_back(std::move(rest));
        } else {
            arguments.push_back(std::move(argument));
        }
    }
    std::vector<const char16_t*> argv;
    for (const VXString& argument : arguments)
        argv.push_back(argument.c_str());
    VXString visible;
    for (const VXString& argument : VXLog::visibleArguments(static_cast<int>(argv.size()), argv.data())) {
        // Quoted as the host passes them: the path always, each option in its own quotes.
        if (!visible.isEmpty())
            visible.append(u' ');
        visible.appendFormat(u"\"%s\"", argument);
    }
    return visible;
}

VXString ServerLogText::dumpFileName(const VXString& logPath, uint32_t number) {
    return vxFormat(u"%s.%u.dmp", logPath, number);
}

VXString ServerLogText::exitCodeText(uint32_t exitCode) {
    if (exitCode >= kFirstExceptionCode)
        return vxFormat(u"%u (0x%08X)", exitCode, exitCode);
    return vxFormat(u"%u", exitCode);
}

}  // namespace Vistrel
