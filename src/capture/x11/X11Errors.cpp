#include "X11Errors.h"

namespace {

constexpr uint8_t kBadWindow = 3;
constexpr uint8_t kBadPixmap = 4;
constexpr uint8_t kBadMatch = 8;
constexpr uint8_t kBadDrawable = 9;
constexpr uint8_t kBadAccess = 10;
constexpr uint8_t kBadAlloc = 11;

constexpr const char* kCoreErrorNames[] = {
    "Success",   "BadRequest", "BadValue",    "BadWindow",   "BadPixmap", "BadAtom",
    "BadCursor", "BadFont",    "BadMatch",    "BadDrawable", "BadAccess", "BadAlloc",
    "BadColor",  "BadGC",      "BadIDChoice", "BadName",     "BadLength", "BadImplementation",
};

const char* connectionErrorText(int xcbError) {
    switch (xcbError) {
        case XCB_CONN_ERROR:
            return "socket, pipe or stream error";
        case XCB_CONN_CLOSED_EXT_NOTSUPPORTED:
            return "extension not supported";
        case XCB_CONN_CLOSED_MEM_INSUFFICIENT:
            return "out of memory";
        case XCB_CONN_CLOSED_REQ_LEN_EXCEED:
            return "request longer than the server accepts";
        case XCB_CONN_CLOSED_PARSE_ERR:
            return "display name could not be parsed";
        case XCB_CONN_CLOSED_INVALID_SCREEN:
            return "no such screen on the display";
        case XCB_CONN_CLOSED_FDPASSING_FAILED:
            return "file descriptor passing failed";
        default:
            return "unknown cause";
    }
}

}  // namespace

const char* X11Errors::errorName(uint8_t code) {
    if (code < sizeof(kCoreErrorNames) / sizeof(kCoreErrorNames[0]))
        return kCoreErrorNames[code];
    return "extension error";
}

VXResult X11Errors::fromError(const char16_t* method, const xcb_generic_error_t& error,
                              const VXSourceLocation& site) {
    int32_t code = VXError::eUnexpected;
    if (error.error_code == kBadAlloc)
        code = VXError::eNoMemory;
    else if (error.error_code == kBadAccess)
        code = VXError::eNoAccess;
    VXResult result(code, u"Method \"%s\" returned X error [%d]. %hs (request %d.%d, resource 0x%X)",
                    method != nullptr ? method : u"<Unknown>", static_cast<int32_t>(error.error_code),
                    errorName(error.error_code), static_cast<int32_t>(error.major_code),
                    static_cast<int32_t>(error.minor_code), error.resource_id);
    result.addContext(u"Error returned to %s", site.text());
    return result;
}

VXResult X11Errors::connectionLost(int xcbError, const VXSourceLocation& site) {
    return VXResult(VXError::eIOError, site, u"Connection to the X server lost: %hs [%d]",
                    connectionErrorText(xcbError), xcbError);
}

bool X11Errors::isVanishedWindow(const xcb_generic_error_t& error) {
    switch (error.error_code) {
        case kBadWindow:
        case kBadPixmap:
        case kBadMatch:
        case kBadDrawable:
            return true;
        default:
            return false;
    }
}
