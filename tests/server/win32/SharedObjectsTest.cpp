#include <gtest/gtest.h>

#include <atomic>

#include "VistrelExchange.h"
#include "VistrelParams.h"
#include "VistrelSharedObjects.h"
#include "support/LogCapture.h"
#include "support/ResultText.h"

namespace {

using Vistrel::SharedObjects;

constexpr uint32_t kPage = 4096;

VXString uniqueGuid() {
    static std::atomic<int> counter{0};
    return vxFormat(u"VXTest%u_%d", static_cast<uint32_t>(GetCurrentProcessId()), ++counter);
}

std::shared_ptr<Vistrel::Params> paramsFor(const VXRect& rect, const VXString& guid) {
    VXString line;
    std::shared_ptr<Vistrel::Params> params;
    if (Vistrel::Params::makeCommandLine(rect, guid.c_str(), false, line).isError())
        return params;
    Vistrel::Params::create(line.c_str(), Vistrel::kEventStartPrefix, Vistrel::kEventCompletedPrefix,
                            Vistrel::kExclWndsPrefix, Vistrel::kCaptureCursorPrefix, Vistrel::kImagePrefix,
                            Vistrel::kWaitResultPrefix, Vistrel::kResultPrefix, params);
    return params;
}

bool mappingExists(const VXString& name) {
    HANDLE h = OpenFileMappingW(FILE_MAP_READ, FALSE, name.wstr());
    if (h != nullptr)
        CloseHandle(h);
    return h != nullptr;
}

// Maps size bytes of the named block through a handle of its own.
bool mapsAtSize(const VXString& name, uint32_t size) {
    HANDLE h = OpenFileMappingW(FILE_MAP_WRITE, FALSE, name.wstr());
    if (h == nullptr)
        return false;
    void* view = MapViewOfFile(h, FILE_MAP_WRITE, 0, 0, size);
    if (view != nullptr)
        UnmapViewOfFile(view);
    CloseHandle(h);
    return view != nullptr;
}

TEST(VistrelSharedObjects, BlocksAreMappedAtTheirFullSizes) {
    const auto params = paramsFor(VXRect(0, 0, 1920, 1080), uniqueGuid());
    ASSERT_TRUE(params);
    const uint32_t imageBlock =
        Vistrel::imageBlockSize(params->captureRect);  // the formula: VistrelParamsTest
    std::shared_ptr<SharedObjects> objects;
    ASSERT_TRUE(SharedObjects::create(*params, objects).isSuccess());
    EXPECT_TRUE(mapsAtSize(params->imageName, imageBlock));
    EXPECT_FALSE(mapsAtSize(params->imageName, imageBlock + kPage));
    objects->shMemImage->view[imageBlock - 1] = 1;  // the whole block is writable
    EXPECT_TRUE(mapsAtSize(params->resultName, 8192));
    EXPECT_FALSE(mapsAtSize(params->resultName, 8192 + kPage));
}

TEST(VistrelSharedObjects, EventThatCannotBeCreatedIsLoggedAndNotFatal) {
    const auto params = paramsFor(VXRect(0, 0, 64, 48), uniqueGuid());
    HANDLE squatter = CreateMutexW(nullptr, FALSE, params->eventStartName.wstr());
    LogCapture log;
    std::shared_ptr<SharedObjects> objects;
    ASSERT_TRUE(SharedObjects::create(*params, objects).isSuccess());
    EXPECT_EQ(objects->eventStart->handle(), nullptr);
    EXPECT_TRUE(
        log.contains("Failed to create VXEvent \"" + utf8(params->eventStartName) + "\". Last error = 6"));
    EXPECT_NE(objects->eventCompleted->handle(), nullptr);
    CloseHandle(squatter);
}

TEST(VistrelSharedObjects, SmallerExistingBlockFailsInMapViewOfFileAndEndsCreation) {
    const auto params = paramsFor(VXRect(0, 0, 64, 48), uniqueGuid());
    HANDLE smallImage =
        CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 64, params->imageName.wstr());
    ASSERT_NE(smallImage, nullptr);
    std::shared_ptr<SharedObjects> objects;
    const VXResult r = SharedObjects::create(*params, objects);
    EXPECT_TRUE(r.isError());
    EXPECT_EQ(text(r).rfind("Method \"MapViewOfFile\" returned Win32 error [", 0), 0u) << text(r);
    EXPECT_NE(text(r).find("\n\tError returned at Vistrel::SharedObjects::create, vistrelsharedobjects.cpp:"),
              std::string::npos)
        << text(r);
    EXPECT_EQ(objects, nullptr);
    EXPECT_TRUE(mapsAtSize(params->imageName, 64));       // the host's block is left as it was
    EXPECT_FALSE(mappingExists(params->waitResultName));  // never created
    EXPECT_FALSE(mappingExists(params->resultName));
    EXPECT_FALSE(mappingExists(params->exclWndsName));  // created, then released with the record
    EXPECT_FALSE(mappingExists(params->captureCursorName));
    CloseHandle(smallImage);
}

}  // namespace
