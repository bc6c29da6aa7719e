// The few host-side facts that differ per platform, each implemented once in win32/ and once in
// posix/: random bytes, where the server lives, a program's version and how a process ended.
#pragma once

#include <cstddef>
#include <cstdint>

#include "VXResult.h"
#include "VXString.h"

namespace Vistrel {

// How a server process ended: its exit code, or on POSIX the signal that killed it (0: none).
struct ServerExit {
    uint32_t exitCode = 0;
    int32_t signal = 0;
};

namespace HostPlatform {

// Bytes from the system's cryptographic generator.
VXResult randomBytes(void* buffer, size_t size);
// What a fresh identifier ends with: "" on Windows, where names go with their last handle;
// "-h<host process id>" on POSIX, where they outlive it, so that a later host can tell the names
// of a host that died (and remove them) from those of one that lives.
VXString identifierTag();
// The server's file name: "Vistrel.exe" on Windows, "vistrel" elsewhere.
const char16_t* serverFileName();
// The server beside the library this code is linked into (the DLL or shared object); empty when
// that folder cannot be found (never a bare name, which the system would search for).
VXString serverBesideLibrary();
// Whether the path is a full one ("C:\...", "\\server\..." on Windows; "/..." elsewhere): the
// server is started by nothing else, so that no search order decides which program runs.
bool isFullPath(const VXString& path);
// The version of a program as "a.b.c.d", or "none" when it carries none.
VXString programVersion(const VXString& path);
bool fileExists(const VXString& path);
// 2000 when the server's file is there; otherwise 2008 (eNotFound) with the system's error and
// "Server ... not found".
VXResult findServer(const VXString& path);
// How texts name an end: "exit code 10", "exit code 3221225477 (0xC0000005):
// EXCEPTION_ACCESS_VIOLATION" (the log's form, withCause) or "exit code 3221225477", "signal 9".
VXString describeExit(const ServerExit& exit, bool withCause);

}  // namespace HostPlatform

// The folder of the running executable, with a trailing separator.
VXString executableFolder();
// The folder part of a path, with its trailing separator; empty for a bare name.
VXString folderOf(const VXString& path);

}  // namespace Vistrel
