#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "VistrelExchange.h"
#include "VistrelParams.h"
#include "VistrelSharedObjects.h"
#include "support/LogCapture.h"
#include "support/ResultText.h"
#include "support/win32/UniqueParams.h"

namespace {

using Vistrel::SharedObjects;

constexpr uint32_t kPage = 4096;

// Maps size bytes of the named block through a handle of its own (false for no such block).
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
    const auto params = uniqueParams(VXRect(0, 0, 1920, 1080));
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
    const auto params = uniqueParams(VXRect(0, 0, 64, 48));
    HANDLE squatter = CreateMutexW(nullptr, FALSE, params->eventStartName.wstr());
    LogCapture log;
    std::shared_ptr<SharedObjects> objects;
    ASSERT_TRUE(SharedObjects::create(*params, objects).isSuccess());
    EXPECT_EQ(objects->eventStart->handle(), nullptr);
    EXPECT_TRUE(
        log.contains("Failed to create VXEvent \"" + text(params->eventStartName) + "\". Last error = 6"));
    EXPECT_NE(objects->eventCompleted->handle(), nullptr);
    CloseHandle(squatter);
}

TEST(VistrelSharedObjects, SmallerExistingBlockFailsInMapViewOfFileAndEndsCreation) {
    const auto params = uniqueParams(VXRect(0, 0, 64, 48));
    HANDLE smallImage =
        CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 64, params->imageName.wstr());
    ASSERT_NE(smallImage, nullptr);
    std::shared_ptr<SharedObjects> objects;
    const VXResult r = SharedObjects::create(*params, objects);
    EXPECT_THAT(text(r), ::testing::StartsWith("Method \"MapViewOfFile\" returned Win32 error ["));
    EXPECT_THAT(text(r),
                ::testing::HasSubstr(
                    "\n\tError returned at Vistrel::SharedObjects::create, vistrelsharedobjects.cpp:"));
    EXPECT_EQ(objects, nullptr);
    EXPECT_TRUE(mapsAtSize(params->imageName, 64));       // the host's block is left as it was
    EXPECT_FALSE(mapsAtSize(params->waitResultName, 1));  // never created
    EXPECT_FALSE(mapsAtSize(params->resultName, 1));
    EXPECT_FALSE(mapsAtSize(params->exclWndsName, 1));  // created, then released with the record
    EXPECT_FALSE(mapsAtSize(params->captureCursorName, 1));
    CloseHandle(smallImage);
}

}  // namespace
