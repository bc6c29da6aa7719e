// The capture server's process entry: a windowless GUI-subsystem program whose entry point
// only hands over to the server's main routine, which reads the command line itself.
#include <windows.h>

#include "MagnifierServerPlatform.h"
#include "VistrelMain.h"

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int) {
    Vistrel::MagnifierServerPlatform platform;
    return Vistrel::mainRoutine(platform);
}
