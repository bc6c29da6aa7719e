/* A C host on libvistrel_host.so for the tests: starts a server in unit-test mode (argv[1]),
 * captures once, writes the server's process id to standard output and waits to be killed. */
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "vistrel_host.h"

int main(int argc, char** argv) {
    if (argc < 2)
        return 2;
    wchar_t server[4096];
    if (mbstowcs(server, argv[1], sizeof(server) / sizeof(server[0])) == (size_t)-1)
        return 2;
    VistrelStartOptions options = {sizeof(VistrelStartOptions)};
    options.serverPath = server;
    options.right = 32;
    options.bottom = 32;
    options.unitTestMode = 1;
    VistrelHost* host = NULL;
    if (vistrel_host_start(&options, &host) != VISTREL_OK) {
        fprintf(stderr, "start: %ls\n", vistrel_host_last_error(host));
        return 1;
    }
    VistrelFrame frame = {sizeof(VistrelFrame)};
    if (vistrel_host_capture(host, NULL, 0, 0, 30000, &frame) != VISTREL_OK || frame.code != 2000) {
        fprintf(stderr, "capture: %ls\n", vistrel_host_last_error(host));
        return 1;
    }
    uint32_t pid = 0;
    vistrel_host_server_process_id(host, &pid);
    printf("%u\n", pid);
    fflush(stdout);
    for (;;)
        pause();
}
