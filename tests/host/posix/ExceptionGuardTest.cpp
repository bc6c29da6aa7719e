// No exception leaves an exported call: an allocation that fails inside one gives a code or "",
// never an exception in the caller (a C caller cannot catch one) or std::terminate. The library
// shares this program's C++ runtime, so the operator new below is the one it calls.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

#include "HostPlatform.h"
#include "vistrel_host.h"

namespace {

thread_local bool tFailAllocations = false;

}  // namespace

void* operator new(std::size_t size) {
    if (tFailAllocations)
        throw std::bad_alloc();
    if (void* p = std::malloc(size != 0 ? size : 1))
        return p;
    throw std::bad_alloc();
}

// The nothrow forms too: a sanitizer's own would hand out memory that the free below rejects.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (tFailAllocations)
        return nullptr;
    return std::malloc(size != 0 ? size : 1);
}

void operator delete(void* p) noexcept {
    std::free(p);
}

void operator delete(void* p, const std::nothrow_t&) noexcept {
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

namespace {

TEST(LinuxHostGuard, AnAllocationThatFailsInsideAnExportedCallStaysInsideIt) {
    const std::string server = Vistrel::executableFolder().toUtf8() + "vistrel";
    const std::wstring wideServer(server.begin(), server.end());
    VistrelStartOptions options{};
    options.size = sizeof(options);
    options.serverPath = wideServer.c_str();
    options.right = 64;
    options.bottom = 48;
    options.unitTestMode = 1;
    VistrelHost* host = nullptr;
    ASSERT_EQ(vistrel_host_start(&options, &host), VISTREL_OK);
    const VistrelRect tooLarge{0, 0, 70000, 70000};

    const wchar_t* identifier = L"unset";
    int32_t setRect = 0;
    int32_t frameMode = 0;
    bool escaped = false;
    tFailAllocations = true;
    try {
        identifier = vistrel_host_identifier(host);        // the identifier's copy needs memory
        setRect = vistrel_host_set_rect(host, &tooLarge);  // so does the refusal's text
        frameMode = vistrel_host_set_frame_mode(host, VISTREL_FRAME_ZERO_COPY);
    } catch (...) {
        escaped = true;
    }
    tFailAllocations = false;
    EXPECT_FALSE(escaped) << "an exception left the library";
    EXPECT_STREQ(identifier, L"");
    EXPECT_NE(setRect, VISTREL_OK);
    EXPECT_EQ(frameMode, VISTREL_OK);
    EXPECT_EQ(vistrel_host_close(host), VISTREL_OK);
}

}  // namespace
