#include <gtest/gtest.h>

#include <objbase.h>

#include <thread>

#include "VXComInit.h"
#include "support/LogCapture.h"

namespace {

// The calling thread's apartment: 'S' single-threaded, 'M' multithreaded, '-' COM not up.
char apartment() {
    const HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (SUCCEEDED(hr))
        CoUninitialize();
    return hr == S_OK ? '-' : (hr == S_FALSE ? 'M' : 'S');
}

TEST(VXComInit, EachModeBringsUpItsApartmentAndTheScopeUndoesOnlyWhatItDid) {
    LogCapture log;
    const struct {
        const char* name;
        int32_t mode;
        bool singleThreadedBefore;
        bool initialized;
        char during;
        char after;
    } rows[] = {{"apartment", VXComMode::eApartmentThreaded, false, true, 'S', '-'},
                {"multithreaded", VXComMode::eMultiThreaded, false, true, 'M', '-'},
                {"ole", VXComMode::eOle, false, true, 'S', '-'},
                {"no such mode", 5, false, false, '-', '-'},
                {"clash with the thread's own start-up", VXComMode::eMultiThreaded, true, false, 'S', 'S'}};
    for (const auto& row : rows) {
        std::thread([&row] {
            if (row.singleThreadedBefore) {
                ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
            }
            {
                VXComScope scope(row.mode);
                EXPECT_EQ(scope.isInitialized(), row.initialized) << row.name;
                EXPECT_EQ(apartment(), row.during) << row.name;
            }
            EXPECT_EQ(apartment(), row.after) << row.name;
            if (row.singleThreadedBefore)
                CoUninitialize();
        }).join();
    }
    std::thread([] {
        initializeCom(VXComMode::eMultiThreaded);
        EXPECT_EQ(apartment(), 'M');
        CoUninitialize();
    }).join();
    // Only the clash is logged, as the start-up's error.
    const std::vector<std::string> lines = log.bodies();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].substr(0, 3), "E: ");
    EXPECT_THAT(lines[0], HasSubstr("<winmain.cpp> initializeCom - CoInitializeEx() failed"));
}

}  // namespace
