// Tells a watching ancestor process that one of its descendants is deadlocked. The watcher
// (the root of a process tree, for example a host that starts the server) creates the event
// named after its own process id; a deadlock report anywhere below it signals that event.
#pragma once

#include <cstdint>

#include "VXResult.h"
#include "VXString.h"

class VXGlobalDeadlockEvent {
public:
    // Bare name (open scope) in the session namespace: "VXDeadlockDetected_" + decimal pid.
    static constexpr const char16_t* kNameFormat = u"VXDeadlockDetected_%u";

    // Signals the root ancestor's event when it exists; without a watcher nothing happens.
    static void setGlobalDeadlockEvent();
    // The oldest living ancestor of this process (this process itself when it has none).
    static VXResult findRootAncestorProcess(uint32_t& rootProcessId);
    static VXString eventName(uint32_t rootProcessId);
};
