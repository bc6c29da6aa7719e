// Resolves the addon's Node-API imports from the process that loaded it. The import library
// names "node.exe", but Electron (and any embedder) exports Node-API from its own executable
// under another name: every delay-loaded import of "node.exe" is served by the main module.
#include <windows.h>

#include <delayimp.h>

namespace {

FARPROC WINAPI resolveNodeFromHostProcess(unsigned notification, PDelayLoadInfo info) {
    if (notification != dliNotePreLoadLibrary || info == nullptr || info->szDll == nullptr ||
        _stricmp(info->szDll, "node.exe") != 0)
        return nullptr;
    return reinterpret_cast<FARPROC>(GetModuleHandleW(nullptr));
}

}  // namespace

// Declared with C linkage by delayimp.h; this definition replaces the runtime's empty one.
PfnDliHook __pfnDliNotifyHook2 = resolveNodeFromHostProcess;
