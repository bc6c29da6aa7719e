#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SharedProcessMemory.h"
#include "support/LogCapture.h"
#include "support/ResultText.h"

namespace {

constexpr uint32_t kPage = 4096;

TEST(SharedProcessMemory, ChecksArgumentsAndWarnsOfEachFailedReleaseStep) {
    const VXString name = vxFormat(u"VXTestMemory%u", static_cast<uint32_t>(GetCurrentProcessId()));
    std::shared_ptr<SharedProcessMemory> memory;
    ASSERT_TRUE(SharedProcessMemory::create(name.c_str(), kPage, memory).isSuccess());
    const SharedProcessMemory* const before = memory.get();
    EXPECT_THAT(text(SharedProcessMemory::create(nullptr, kPage, memory)),
                StartsWith("Parameter check \"tszName\" failed at , sharedprocessmemory.cpp:"));
    EXPECT_THAT(text(SharedProcessMemory::create(name.c_str(), 0, memory)),
                StartsWith("Parameter check \"dwSize > 0\" failed"));
    EXPECT_EQ(memory.get(), before);

    // Release the real ones here and leave values that the system refuses; both steps still run.
    ASSERT_TRUE(UnmapViewOfFile(memory->view));
    ASSERT_TRUE(CloseHandle(memory->mapping));
    // Private memory is no view (an address inside the executable would be: its image).
    void* notAView = VirtualAlloc(nullptr, kPage, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    ASSERT_NE(notAView, nullptr);
    memory->view = static_cast<uint8_t*>(notAView);
    // Far above any handle value a process is given, so it can never name a live object.
    memory->mapping = reinterpret_cast<HANDLE>(static_cast<uintptr_t>(0x7FFFFFF0));
    LogCapture log;
    memory.reset();
    for (const char* step : {"Method \"UnmapViewOfFile\" returned Win32 error [",
                             "Method \"CloseHandle\" returned Win32 error [6]"})
        EXPECT_THAT(log.bodies(), ::testing::Contains(::testing::AllOf(StartsWith("W: "), HasSubstr(step))));
    VirtualFree(notAView, 0, MEM_RELEASE);
}

}  // namespace
