/* vistrel_host.h: the C interface of vistrel_host.dll. A screen-sharing host starts a capture
 * server (Vistrel.exe), asks it for captures of one screen rectangle, and reads how it ended.
 *
 * Results. Every call that can fail returns a result code: VISTREL_OK (2000) is success, any
 * other value a failure whose text vistrel_host_last_error gives.
 *
 * Ownership and lifetimes.
 *  - A VistrelHost is made by vistrel_host_start (even when that fails, so that the error text
 *    can be read) and freed only by vistrel_host_close; closing ends a server still running.
 *  - Every pointer the library hands out (frame->text, frame->pixels, frame->rects, the texts of
 *    vistrel_host_last_error, vistrel_host_last_text, vistrel_host_identifier,
 *    vistrel_host_last_dump and vistrel_host_log_result) belongs to the host object. It stays
 *    valid until the next call on the same host (any call but vistrel_host_last_error,
 *    vistrel_host_last_text and vistrel_host_version; vistrel_host_identifier and
 *    vistrel_host_last_dump replace their own text on every call) or until vistrel_host_close,
 *    whichever comes first. Copy what you keep. vistrel_host_version's text is static.
 *  - The caller never frees a returned pointer. Other languages: declare every returned text
 *    as a plain pointer (C#: IntPtr, read with Marshal.PtrToStringUni on Windows; Python ctypes:
 *    c_void_p or c_wchar_p, never a type that frees), never as a managed string type that the
 *    marshaller frees after the call (C#'s string return type would free it with CoTaskMemFree).
 *  - The log callback and its context must stay valid (a delegate kept reachable, not collected)
 *    until vistrel_host_close on that host has returned.
 *  - Pointers the caller passes (options, window lists, frames) are read or written during the
 *    call only; the library keeps none of them.
 *
 * Threads. Calls on one host must not overlap (use a host from one thread at a time, any thread;
 * the library has no thread affinity), with exceptions that any thread may make at any time:
 * vistrel_host_cancel, vistrel_host_close (which first cancels the capture in progress and
 * waits until it has returned), and vistrel_host_version and vistrel_host_list_monitors, which
 * need no host. Different hosts are independent. A
 * capture blocks the calling thread until the answer, the time-out, a cancel or the server's end,
 * and never longer than its time-out in total.
 *
 * The log callback runs on the host's own log thread, never the caller's, and never holds the
 * host up: lines wait in a bounded queue, and vistrel_host_close returns within
 * VISTREL_CLOSE_BOUND_MS whatever a callback does (lines not delivered by then are counted, and
 * the log file's last line says how many). A callback may call vistrel_host_cancel; a callback
 * that calls vistrel_host_close on its own host is refused (VISTREL_BUSY) and the host stays open.
 *
 * The server's lifetime. The server ends by itself after 60 s without a request (it then
 * writes a time-out result, code 2024, and exits with code 10), and it ends with the host's
 * process, however that ends. Without automatic restart the next capture returns
 * VISTREL_SERVER_ENDED; vistrel_host_wait_exit gives the exit code and that final result. With
 * autoRestart set, a capture that finds the server ended starts a new one first (same rectangle,
 * fresh identifier, new objects): always after the idle end, after any other end at most
 * maxCrashRestartsPerMinute times within a minute (then the capture returns
 * VISTREL_SERVER_ENDED). A server that ends during a capture is reported by that capture.
 *
 * Extending. VistrelStartOptions and VistrelFrame begin with a size member that the caller
 * sets to sizeof the structure it was compiled with; later versions only append members, read
 * or write nothing beyond the caller's size, and give appended options their defaults. */
#ifndef VISTREL_HOST_H
#define VISTREL_HOST_H

#include <stdint.h>
#include <wchar.h>

#if defined(_WIN32)
#if defined(VISTREL_HOST_BUILDING)
#define VISTREL_HOST_API __declspec(dllexport)
#else
#define VISTREL_HOST_API __declspec(dllimport)
#endif
#elif defined(VISTREL_HOST_BUILDING) && defined(__GNUC__)
#define VISTREL_HOST_API __attribute__((visibility("default")))
#else
#define VISTREL_HOST_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Return values of the calls. frame->code is the server's own answer, any code it uses. */
#define VISTREL_OK 2000                    /* done; for a capture: an answer is in the frame */
#define VISTREL_BAD_PARAMETER 2005         /* a null or out-of-range argument; nothing was sent */
#define VISTREL_NOT_STARTED 2007           /* the host's server never started, or its last restart failed */
#define VISTREL_NOT_FOUND 2008             /* the server (Vistrel.exe) not found, nothing else */
#define VISTREL_IDENTIFIER_IN_USE 2009     /* objects of the identifier exist: never joined */
#define VISTREL_LOG_NOT_OPENED 2010        /* the log file cannot be opened */
#define VISTREL_BUSY 2012                  /* vistrel_host_close from the host's own log callback */
#define VISTREL_CANCELED 2028              /* vistrel_host_cancel or vistrel_host_close ended it */
#define VISTREL_TIMEOUT 2024               /* no answer (or no exit) in time; the server still runs */
#define VISTREL_SERVER_ENDED 3001          /* the server has ended: see vistrel_host_wait_exit */
#define VISTREL_MAX_EXCLUDED_WINDOWS 1023u /* the longest window list one request carries */
#define VISTREL_CLOSE_BOUND_MS 7000u       /* the longest vistrel_host_close takes */

typedef struct VistrelHost VistrelHost;

/* A rectangle; right and bottom exclusive. */
typedef struct VistrelRect {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
} VistrelRect;

/* Receives the server's log, opt-in (see VistrelStartOptions). Each line (UTF-8, no line end)
 * comes on the log's own thread, never the caller's; fromHost is 1 for the lines the host
 * library adds. The line is valid during the call only. */
typedef void (*VistrelLogCallback)(void* context, const char* line, int32_t fromHost);

typedef struct VistrelStartOptions {
    uint32_t size;             /* sizeof(VistrelStartOptions) */
    const wchar_t* serverPath; /* a full path; null: "Vistrel.exe" beside this library itself */
    int32_t left;              /* the capture rectangle, physical screen pixels, right and */
    int32_t top;               /* bottom exclusive */
    int32_t right;
    int32_t bottom;
    /* The named objects' identifier; null: a fresh one from the system's cryptographic generator
     * (advised). A given one is 1 to 64 ASCII letters, digits, '-', '{' and '}' (else
     * VISTREL_BAD_PARAMETER); when any of its objects exists the start fails with
     * VISTREL_IDENTIFIER_IN_USE and nothing is written to them. */
    const wchar_t* identifier;
    int32_t unitTestMode; /* nonzero: the server answers without capturing (testing) */
    /* Since 1.0.0, optional: collect the server's log (its standard error, through a pipe of
     * this host's own) for as long as it runs. Lines are appended to logPath (UTF-8; crash dumps
     * beside it as <logPath>.1.dmp, ...) and/or given to logCallback with logContext. Both null:
     * no log. A log file that cannot be opened fails the start with VISTREL_LOG_NOT_OPENED. */
    const wchar_t* logPath;
    VistrelLogCallback logCallback;
    void* logContext;
    /* Since 1.1.0, optional: nonzero starts a new server when a capture finds the old one
     * ended (see "The server's lifetime"); crash restarts at most maxCrashRestartsPerMinute
     * times within any minute (0: never after a crash). Default: off, 3. */
    int32_t autoRestart;
    uint32_t maxCrashRestartsPerMinute;
    /* Since 1.1.0, optional: the log file's bound in bytes (0: 16 MiB). A line that would take
     * the file beyond it first moves the file to <logPath>.1 (replacing an older one) and starts
     * it afresh. At most maxDumpFiles crash dumps are kept beside it (0: 4), the newest: the
     * oldest is removed and the others renumbered down, so <logPath>.1.dmp is the oldest kept.
     * The log, its .1 and the dumps are created for the current user (and SYSTEM) only, and never
     * written through a symbolic link or another reparse point: a logPath that is one fails the
     * start with VISTREL_LOG_NOT_OPENED and a text saying so. */
    uint32_t logMaxBytes;
    uint32_t maxDumpFiles;
} VistrelStartOptions;

typedef struct VistrelFrame {
    uint32_t size;         /* sizeof(VistrelFrame), set by the caller before each capture */
    int32_t code;          /* the server's answer: 2000 captured, above 2000 why not */
    const wchar_t* text;   /* the answer's text (UTF-16) */
    const uint8_t* pixels; /* when code is 2000: 32-bit B,G,R,X rows, row 0 the top one */
    int32_t width;
    int32_t height;
    int32_t stride;          /* bytes from one row to the next */
    uint32_t waitIterations; /* how long the server waited for a fresh frame */
    uint32_t waitMilliseconds;
    int32_t waitTimedOut;
    uint64_t microseconds; /* request to answer, as the host saw it */
    /* What differs from the previous successful capture of this host: rectangles in frame
     * coordinates on a 32 x 32 grid, never overlapping; none when nothing changed. The whole
     * frame for the first capture, after a failed one, after a change of frame mode, and always
     * in VISTREL_FRAME_ZERO_COPY, and after a new server (a restart or a new rectangle). Owned
     * by the host, valid until the next call on it. */
    uint32_t rectCount;
    const VistrelRect* rects;
} VistrelFrame;

/* Frame modes (vistrel_host_set_frame_mode). */
enum {
    /* pixels are the host's own copy, valid until the next call on the host (the default) */
    VISTREL_FRAME_COPY = 0,
    /* pixels point into the shared image block itself: no copy; stride = width * 4, rows not
     * 4-byte aligned; valid until the next call on the host or its close (the block is unmapped
     * then: never read them after close); the updated region is always the whole frame */
    VISTREL_FRAME_ZERO_COPY = 1,
    /* as VISTREL_FRAME_ZERO_COPY, with the updated region from a copy the host keeps */
    VISTREL_FRAME_ZERO_COPY_WITH_REGION = 2
};

/* A display monitor: bounds and work area in physical pixels, virtual-screen coordinates (what
 * vistrel_host_start's rectangle takes); deviceName such as "\\.\DISPLAY1" (Windows) or RandR's
 * name of the monitor, such as "DP-1" (X11, the display DISPLAY names). */
typedef struct VistrelMonitor {
    VistrelRect bounds;
    VistrelRect workArea;
    int32_t primary;
    wchar_t deviceName[32];
} VistrelMonitor;

/* The text of every wchar_t in this interface is UTF-16 on Windows and UTF-32 on Linux (each
 * platform's wchar_t), so that a host's source, with its L"" literals and %ls formats, is the
 * same on both. */

/* The version of the library and of the server it was built with, such as "1.1.0". */
VISTREL_HOST_API const char* vistrel_host_version(void);

/* Creates the named objects (readable and writable by the current user and SYSTEM only, at the
 * caller's integrity level; never objects that exist) and starts the server, tied to the calling
 * process. *host is set whenever host is not null. A rectangle that is empty or whose image
 * block ((width + 4) x height x 4 + 128 bytes) would not fit in 32 bits is refused with
 * VISTREL_BAD_PARAMETER before anything is made. Options smaller than 1.0's structure (up to
 * logContext) are refused with VISTREL_BAD_PARAMETER. */
VISTREL_HOST_API int32_t vistrel_host_start(const VistrelStartOptions* options, VistrelHost** host);

/* One request: leave out windowCount windows (HWNDs widened to 64 bits; at most
 * VISTREL_MAX_EXCLUDED_WINDOWS, checked before the list is read), draw the cursor or not, wait
 * up to timeoutMs for the answer, in total (the wait for an earlier request's late answer counts
 * in it). Returns VISTREL_OK when an answer came (then frame->code is the server's answer, which
 * may itself be a failure), otherwise why the exchange failed: VISTREL_BAD_PARAMETER,
 * VISTREL_NOT_STARTED, VISTREL_TIMEOUT, VISTREL_CANCELED, VISTREL_SERVER_ENDED or a system error. On any
 * failure every member of the frame after size is cleared. A frame whose size is smaller than the first
 * version's (up to rects) is refused with VISTREL_BAD_PARAMETER and left untouched. */
VISTREL_HOST_API int32_t vistrel_host_capture(VistrelHost* host, const uint64_t* windows,
                                              uint32_t windowCount, int32_t captureCursor, uint32_t timeoutMs,
                                              VistrelFrame* frame);

/* Waits up to timeoutMs for the server to end (0 only asks). Then *exitCode is its exit code
 * (10: it wrote its final result, also the refusal of an unusable rectangle, code 2005; 11 to 13:
 * it failed at start-up; 14: its final result could not be written; any other: it was killed or
 * crashed) and *finalCode the final result's code when the exit code is 10, else 0;
 * vistrel_host_last_text gives the final result's text. */
VISTREL_HOST_API int32_t vistrel_host_wait_exit(VistrelHost* host, uint32_t timeoutMs, uint32_t* exitCode,
                                                int32_t* finalCode);

/* The text of the last failure on this host; "" after a success. Never null. */
VISTREL_HOST_API const wchar_t* vistrel_host_last_error(const VistrelHost* host);
/* The text of the last answer: a capture's, or the final result after vistrel_host_wait_exit. */
VISTREL_HOST_API const wchar_t* vistrel_host_last_text(const VistrelHost* host);
/* Any thread. Cancels a capture in progress (it returns VISTREL_CANCELED), waits until every
 * call on the host has returned, ends a server still running and frees the host, all within
 * VISTREL_CLOSE_BOUND_MS plus the cancelled call's return. VISTREL_OK; null is allowed.
 * From the host's own log callback: VISTREL_BUSY, and nothing is closed. (1.0 declared no
 * return value; the calling convention is unchanged.) */
VISTREL_HOST_API int32_t vistrel_host_close(VistrelHost* host);

/* Since 1.1.0. Any thread, any time: a capture in progress on the host returns VISTREL_CANCELED
 * promptly; with none in progress nothing happens. VISTREL_OK, or VISTREL_BAD_PARAMETER. */
VISTREL_HOST_API int32_t vistrel_host_cancel(VistrelHost* host);
/* Since 1.1.0. Captures this rectangle (physical pixels, right and bottom exclusive) from the
 * next capture on, which starts a new server for it (a server's rectangle is fixed).
 * VISTREL_BAD_PARAMETER for an empty rectangle or one whose image block would not fit in 32
 * bits, as in vistrel_host_start. */
VISTREL_HOST_API int32_t vistrel_host_set_rect(VistrelHost* host, const VistrelRect* rect);
/* Since 1.1.0. How many servers the host started after its first (restarts and new rectangles). */
VISTREL_HOST_API int32_t vistrel_host_restart_count(VistrelHost* host, uint32_t* count);
/* Since 1.1.0. The current server's process id. */
VISTREL_HOST_API int32_t vistrel_host_server_process_id(VistrelHost* host, uint32_t* processId);
/* Since 1.1.0. The current server's identifier; "" without a server. Valid as the texts above. */
VISTREL_HOST_API const wchar_t* vistrel_host_identifier(VistrelHost* host);

/* 2000: the log, when one was asked for, is collected through the host's own pipe. (In 1.0 it
 * could be 2029, when another program held the session's debug output; that cannot happen any
 * more.) *text receives "" (may be null), a static text. */
VISTREL_HOST_API int32_t vistrel_host_log_result(VistrelHost* host, const wchar_t** text);
/* The path of the last crash dump written beside the log, or "" when there is none; replaced by
 * the next call of this function. */
VISTREL_HOST_API const wchar_t* vistrel_host_last_dump(VistrelHost* host);

/* Sets the frame mode for the following captures (2005 for an unknown mode); when the mode
 * changes, the next capture reports the whole frame (setting the same mode again changes
 * nothing). Not while another call on the same host runs. */
VISTREL_HOST_API int32_t vistrel_host_set_frame_mode(VistrelHost* host, int32_t mode);
/* Lists the monitors, the primary one first, into monitors (up to capacity of them; may be null
 * when capacity is 0); *count receives how many there are, which may exceed capacity. The
 * virtual screen (the rectangle holding them all) goes to virtualScreen unless it is null.
 * Needs no host; callable from any thread. 2000, 2005 for bad arguments, or the Win32 failure
 * (X11: 2008 when no display can be reached, or the X failure). */
VISTREL_HOST_API int32_t vistrel_host_list_monitors(VistrelMonitor* monitors, uint32_t capacity,
                                                    uint32_t* count, VistrelRect* virtualScreen);

#ifdef __cplusplus
}
#endif

#endif
