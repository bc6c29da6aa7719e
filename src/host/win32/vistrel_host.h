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
} VistrelFrame;

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

/* The server's log, opt-in. Each line (UTF-8, no line end) is given to the callback on the
 * log's own thread; fromHost is 1 for the lines the host library adds. */
typedef void (*VistrelLogCallback)(void* context, const char* line, int32_t fromHost);
/* vistrel_host_start, also collecting the server's debug output: appended to logPath (UTF-8,
 * may be null; crash dumps beside it as <logPath>.1.dmp, ...) and/or given to callback (may
 * be null). That another reader holds the debug output is no failure of the start: see
 * vistrel_host_log_result. */
int32_t vistrel_host_start_with_log(const wchar_t* serverPath, int32_t left, int32_t top, int32_t right,
                                    int32_t bottom, int32_t unitTestMode, const wchar_t* logPath,
                                    VistrelLogCallback callback, void* context, VistrelHost** host);
/* 2000 while the log is collected (or none was asked for); 2029 when another reader holds the
 * debug output, with the reason in *text (valid until the host is closed; may be null). */
int32_t vistrel_host_log_result(VistrelHost* host, const wchar_t** text);
/* The path of the last crash dump written beside the log, or "" when there is none. */
const wchar_t* vistrel_host_last_dump(VistrelHost* host);

#ifdef __cplusplus
}
#endif

#endif
