#include "X11ImageReader.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cerrno>

#include "VXChecks.h"
#include "X11Errors.h"

namespace {

constexpr uint8_t kBitsPerPixel = 32;
constexpr uint32_t kAllPlanes = 0xFFFFFFFFu;
constexpr int kOwnerOnly = 0600;

}  // namespace

X11ImageReader::~X11ImageReader() {
    if (_segment != 0 && _connection != nullptr && xcb_connection_has_error(_connection) == 0)
        xcb_shm_detach(_connection, _segment);
    if (_shmAddress != nullptr)
        shmdt(_shmAddress);
}

void X11ImageReader::release_(X11Connection* connection) {
    if (_segment != 0 && connection != nullptr)
        xcb_shm_detach(connection->get(), _segment);
    if (_shmAddress != nullptr)
        shmdt(_shmAddress);
    _segment = 0;
    _shmAddress = nullptr;
    _capacity = 0;
}

VXResult X11ImageReader::setup(X11Connection& connection, int32_t width, int32_t height) {
    VX_CHECK_PARAM(width > 0 && height > 0);
    _connection = connection.get();
    const xcb_setup_t* serverSetup = xcb_get_setup(connection.get());
    bool stored32 = false;
    for (auto formats = xcb_setup_pixmap_formats_iterator(serverSetup); formats.rem > 0;
         xcb_format_next(&formats)) {
        if (formats.data->depth == connection.rootDepth())
            stored32 = formats.data->bits_per_pixel == kBitsPerPixel;
    }
    if (!stored32)
        return VX_ERROR(VXError::eBadFormat, u"Screen depth %u is not stored in 32 bits per pixel",
                        connection.rootDepth());

    const int64_t bytes = static_cast<int64_t>(width) * height * 4;
    if (bytes <= _capacity)
        return VXError::eNoError;
    release_(&connection);
    if (!connection.hasShm())
        return VXError::eNoError;

    const int id = shmget(IPC_PRIVATE, static_cast<size_t>(2 * bytes), IPC_CREAT | kOwnerOnly);
    if (id < 0)
        return VX_CRT_ERROR(u"shmget", errno);
    void* address = shmat(id, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
        const int error = errno;
        shmctl(id, IPC_RMID, nullptr);
        return VX_CRT_ERROR(u"shmat", error);
    }
    const xcb_shm_seg_t segment = xcb_generate_id(connection.get());
    X11Reply<xcb_generic_error_t> error(
        xcb_request_check(connection.get(), xcb_shm_attach_checked(connection.get(), segment, id, 0)));
    // Removed now, it goes as soon as both sides have let go of it, also if we crash.
    shmctl(id, IPC_RMID, nullptr);
    if (error != nullptr) {
        // A server on another machine cannot attach our memory: read without it.
        shmdt(address);
        return connection.checkAlive(VX_SITE);
    }
    _segment = segment;
    _shmAddress = address;
    _capacity = bytes;
    return VXError::eNoError;
}

VXResult X11ImageReader::read(X11Connection& connection, xcb_drawable_t drawable, int16_t x, int16_t y,
                              uint16_t width, uint16_t height, bool intoLent, bool& vanished) {
    xcb_connection_t* c = connection.get();
    xcb_generic_error_t* rawError = nullptr;
    if (_segment != 0) {
        VX_CHECK_PARAM(static_cast<int64_t>(width) * height * 4 <= _capacity);
        const uint32_t offset = intoLent ? 0 : static_cast<uint32_t>(_capacity);
        X11Reply<xcb_shm_get_image_reply_t> reply(
            xcb_shm_get_image_reply(c,
                                    xcb_shm_get_image(c, drawable, x, y, width, height, kAllPlanes,
                                                      XCB_IMAGE_FORMAT_Z_PIXMAP, _segment, offset),
                                    &rawError));
        X11Reply<xcb_generic_error_t> error(rawError);
        if (error != nullptr) {
            if (X11Errors::isVanishedWindow(*error)) {
                vanished = true;
                return VXError::eNoError;
            }
            return VX_X11_ERROR(u"ShmGetImage", *error);
        }
        if (reply == nullptr)
            return connection.checkAlive(VX_SITE);
        _pixels = static_cast<const uint8_t*>(_shmAddress) + offset;
        return VXError::eNoError;
    }
    X11Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
        c, xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, x, y, width, height, kAllPlanes),
        &rawError));
    X11Reply<xcb_generic_error_t> error(rawError);
    if (error != nullptr) {
        if (X11Errors::isVanishedWindow(*error)) {
            vanished = true;
            return VXError::eNoError;
        }
        return VX_X11_ERROR(u"GetImage", *error);
    }
    if (reply == nullptr)
        return connection.checkAlive(VX_SITE);
    if (xcb_get_image_data_length(reply.get()) < static_cast<int>(width) * height * 4)
        return VX_ERROR(VXError::eBadFormat, u"GetImage returned %d bytes for %u x %u pixels",
                        xcb_get_image_data_length(reply.get()), width, height);
    _plainReply = std::move(reply);
    _pixels = xcb_get_image_data(_plainReply.get());
    return VXError::eNoError;
}
