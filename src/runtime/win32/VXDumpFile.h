// VXMiniDump: where crash dumps are written and how a written dump reaches the log. The
// file only carries the dump from dbghelp to the log: it is deleted on close and zeroed
// before that.
#pragma once

#include <windows.h>

#include "VXResult.h"
#include "VXString.h"

class VXMiniDump {
public:
    // Sets the process-wide dump folder (a trailing backslash is added) and creates it.
    static void setFolder(const VXString& folder);
    static VXString folder();
    // The temporary folder followed by "TesseraDumps\".
    static VXString defaultFolder();
    // <folder><executable name>_<process id>_NN.dmp, NN counting the dumps of the process.
    static VXString nextFileName();
    // Opened for reading and writing, shared, deleted when the last handle closes.
    static HANDLE createFile(const VXString& path);
    // Compresses the file's contents into the log (see VXDumpText::logDump) and zeroes
    // them. False when anything failed; the failure is logged.
    static bool logFile(HANDLE file);
};
