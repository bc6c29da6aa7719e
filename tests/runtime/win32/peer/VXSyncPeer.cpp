// Second process for the event tests:
//   vx_sync_peer open <name> <scope>        exit 0 when the event opens by name, 2 when not
//   vx_sync_peer echo <waitName> <setName>  waits for the first event, then sets the second
#include <cstdlib>
#include <cstring>

#include "VXEvent.h"

namespace {

constexpr int kOk = 0;
constexpr int kUsage = 1;
constexpr int kNotOpened = 2;
constexpr int kTimedOut = 3;
constexpr DWORD kEchoTimeoutMs = 10000;

VXString arg(const char* text) {
    return VXString::fromUtf8(text);
}

int openEvent(const VXString& name, int32_t scope) {
    HANDLE handle = nullptr;
    if (VXEvent::open(name.c_str(), scope, false, handle).isError())
        return kNotOpened;
    CloseHandle(handle);
    return kOk;
}

int echo(const VXString& waitName, const VXString& setName) {
    HANDLE waitFor = nullptr;
    HANDLE answer = nullptr;
    if (VXEvent::open(waitName.c_str(), VXSync::eScopeOpen, false, waitFor).isError())
        return kNotOpened;
    if (VXEvent::open(setName.c_str(), VXSync::eScopeOpen, true, answer).isError())
        return kNotOpened;
    const int code =
        WaitForSingleObject(waitFor, kEchoTimeoutMs) == WAIT_OBJECT_0 && SetEvent(answer) ? kOk : kTimedOut;
    CloseHandle(waitFor);
    CloseHandle(answer);
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "open") == 0)
        return openEvent(arg(argv[2]), std::atoi(argv[3]));
    if (argc == 4 && std::strcmp(argv[1], "echo") == 0)
        return echo(arg(argv[2]), arg(argv[3]));
    return kUsage;
}
