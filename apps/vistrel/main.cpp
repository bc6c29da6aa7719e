// The Linux capture server's process entry: it only hands the arguments over to the server's
// main routine.
#include "PosixServerPlatform.h"
#include "VistrelMain.h"

int main(int argc, char** argv) {
    Vistrel::PosixServerPlatform platform(argc, argv);
    return Vistrel::mainRoutine(platform);
}
