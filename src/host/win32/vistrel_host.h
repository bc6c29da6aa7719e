/* The host library's C interface: start a capture server, ask it for captures, read how it
 * ended. Every call returns a result code: 2000 is success, above 2000 a failure, whose
 * text vistrel_host_last_error gives. Wide texts are UTF-16. */
#ifndef VISTREL_HOST_H
#define VISTREL_HOST_H

#include <stdint.h>
#include <wchar.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct VistrelHost VistrelHost;

/* A rectangle; right and bottom exclusive. */
typedef struct VistrelRect {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
} VistrelRect;

typedef struct VistrelFrame {
    int32_t code;          /* the server's answer; pixels are valid when code <= 2000 */
    const wchar_t* text;   /* the answer's text, valid until the next call on the host */
    const uint8_t* pixels; /* 32-bit B,G,R,X rows, row 0 first */
    int32_t width;
    int32_t height;
    int32_t stride; /* bytes from one row to the next */
    uint32_t waitIterations;
    uint32_t waitMilliseconds;
    int32_t waitTimedOut;
    uint64_t microseconds; /* request to answer, as the host saw it */
    /* What differs from the previous successful capture of this host: rectangles in frame
     * coordinates on a 32 x 32 grid, never overlapping; none when nothing changed. The whole
     * frame for the first capture, after a failed one, after a change of frame mode, and always
     * in VISTREL_FRAME_ZERO_COPY. Owned by the host, valid until the next call on it. */
    uint32_t rectCount;
    const VistrelRect* rects;
} VistrelFrame;

/* Frame modes (vistrel_host_set_frame_mode). */
enum {
    /* pixels are the host's own copy, valid until the next call on the host (the default) */
    VISTREL_FRAME_COPY = 0,
    /* pixels point into the shared image block itself: no copy; stride = width * 4, rows not
     * 4-byte aligned; valid until the next capture on the host or its close; the updated
     * region is always the whole frame */
    VISTREL_FRAME_ZERO_COPY = 1,
    /* as VISTREL_FRAME_ZERO_COPY, with the updated region from a copy the host keeps */
    VISTREL_FRAME_ZERO_COPY_WITH_REGION = 2
};

/* A display monitor: bounds and work area in physical pixels, virtual-screen coordinates (what
 * vistrel_host_start's rectangle takes); deviceName such as "\\.\DISPLAY1". */
typedef struct VistrelMonitor {
    VistrelRect bounds;
    VistrelRect workArea;
    int32_t primary;
    wchar_t deviceName[32];
} VistrelMonitor;

/* serverPath may be null: "Vistrel.exe" beside the calling program. */
int32_t vistrel_host_start(const wchar_t* serverPath, int32_t left, int32_t top, int32_t right,
                           int32_t bottom, int32_t unitTestMode, VistrelHost** host);
int32_t vistrel_host_capture(VistrelHost* host, const uint64_t* windows, uint32_t windowCount,
                             int32_t captureCursor, uint32_t timeoutMs, VistrelFrame* frame);
int32_t vistrel_host_wait_exit(VistrelHost* host, uint32_t timeoutMs, uint32_t* exitCode, int32_t* finalCode);
const wchar_t* vistrel_host_last_error(const VistrelHost* host);
/* The text of the last answer: a capture's, or the final result after vistrel_host_wait_exit. */
const wchar_t* vistrel_host_last_text(const VistrelHost* host);
void vistrel_host_close(VistrelHost* host);

/* Sets the frame mode for the following captures (2005 for an unknown mode); the next capture
 * reports the whole frame. Not while another call on the same host runs. */
int32_t vistrel_host_set_frame_mode(VistrelHost* host, int32_t mode);
/* Lists the monitors, the primary one first, into monitors (up to capacity of them; may be null
 * when capacity is 0); *count receives how many there are, which may exceed capacity. The
 * virtual screen (the rectangle holding them all) goes to virtualScreen unless it is null.
 * Needs no host; callable from any thread. 2000, 2005 for bad arguments, or the Win32 failure. */
int32_t vistrel_host_list_monitors(VistrelMonitor* monitors, uint32_t capacity, uint32_t* count,
                                   VistrelRect* virtualScreen);

#ifdef __cplusplus
}
#endif

#endif
