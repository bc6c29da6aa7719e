/* The C side of the round-trip comparison: starts a host on a rectangle, makes one warm-up
 * capture and then COUNT timed ones in the given frame mode, and prints one JSON line with the
 * time of each capture call, their median and their mean, in milliseconds.
 * usage: vistrel-node-bench-c SERVER LEFT TOP RIGHT BOTTOM COUNT copy|zero-copy */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>
#include <windows.h>

#include "vistrel_host.h"

static int compareDoubles(const void* a, const void* b) {
    const double x = *(const double*)a, y = *(const double*)b;
    return (x > y) - (x < y);
}

int wmain(int argc, wchar_t** argv) {
    if (argc != 8) {
        fputs("usage: vistrel-node-bench-c SERVER LEFT TOP RIGHT BOTTOM COUNT copy|zero-copy\n", stderr);
        return 2;
    }
    VistrelStartOptions options = {sizeof(VistrelStartOptions)};
    options.serverPath = argv[1];
    options.left = _wtoi(argv[2]);
    options.top = _wtoi(argv[3]);
    options.right = _wtoi(argv[4]);
    options.bottom = _wtoi(argv[5]);
    const int count = _wtoi(argv[6]);
    const int zeroCopy = wcscmp(argv[7], L"zero-copy") == 0;
    VistrelHost* host = NULL;
    int32_t r = vistrel_host_start(&options, &host);
    if (r == VISTREL_OK && zeroCopy)
        r = vistrel_host_set_frame_mode(host, VISTREL_FRAME_ZERO_COPY);
    double* times = count > 0 ? (double*)calloc((size_t)count, sizeof(double)) : NULL;
    LARGE_INTEGER frequency, before, after;
    QueryPerformanceFrequency(&frequency);
    VistrelFrame frame = {sizeof(VistrelFrame)};
    for (int i = -1; r == VISTREL_OK && times != NULL && i < count; ++i) {
        QueryPerformanceCounter(&before);
        r = vistrel_host_capture(host, NULL, 0, 0, 30000, &frame);
        QueryPerformanceCounter(&after);
        if (r == VISTREL_OK && frame.code != VISTREL_OK)
            r = frame.code;
        if (i >= 0)
            times[i] = (double)(after.QuadPart - before.QuadPart) * 1000.0 / (double)frequency.QuadPart;
    }
    if (r != VISTREL_OK || times == NULL) {
        fprintf(stderr, "failed (%d): %ls\n", r, host ? vistrel_host_last_error(host) : L"");
        vistrel_host_close(host);
        return 1;
    }
    double sum = 0;
    printf("{\"mode\":\"%ls\",\"timesMs\":[", argv[7]);
    for (int i = 0; i < count; ++i) {
        sum += times[i];
        printf("%s%.3f", i > 0 ? "," : "", times[i]);
    }
    qsort(times, (size_t)count, sizeof(double), compareDoubles);
    printf("],\"medianMs\":%.3f,\"meanMs\":%.3f}\n", times[count / 2], sum / count);
    free(times);
    vistrel_host_close(host);
    return 0;
}
