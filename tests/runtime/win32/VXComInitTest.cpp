#include <gtest/gtest.h>

#include <windows.h>

#include <objbase.h>

#include <functional>
#include <string>
#include <thread>

#include "VXComInit.h"
#include "support/LogCapture.h"

namespace {

void onNewThread(const std::function<void()>& body) {
    std::thread(body).join();
}

APTTYPE apartment() {
    APTTYPE type = APTTYPE_CURRENT;
    APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
    return SUCCEEDED(CoGetApartmentType(&type, &qualifier)) ? type : APTTYPE_CURRENT;
}

bool singleThreaded() {
    return apartment() == APTTYPE_STA || apartment() == APTTYPE_MAINSTA;
}

// S_OK: COM was not up on this thread.
bool comWasDown() {
    const HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (SUCCEEDED(hr))
        CoUninitialize();
    return hr == S_OK;
}

TEST(VXComInit, EachModeBringsUpItsApartmentAndAClashIsLogged) {
    LogCapture log;
    onNewThread([] {
        initializeCom(VXComMode::eApartmentThreaded);
        EXPECT_TRUE(singleThreaded());
        CoUninitialize();
    });
    onNewThread([] {
        initializeCom(VXComMode::eMultiThreaded);
        EXPECT_EQ(apartment(), APTTYPE_MTA);
        CoUninitialize();
    });
    onNewThread([] {
        initializeCom(5);  // no such mode: nothing
        EXPECT_TRUE(comWasDown());
    });
    EXPECT_TRUE(log.lines().empty());

    // A clash with the thread's apartment is logged as the start-up's error.
    onNewThread([] {
        initializeCom(VXComMode::eApartmentThreaded);
        initializeCom(VXComMode::eMultiThreaded);
        CoUninitialize();
    });
    const std::vector<std::string> lines = log.bodies();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].substr(0, 3), "E: ");
    EXPECT_NE(lines[0].find("<winmain.cpp> initializeCom - CoInitializeEx() failed"), std::string::npos)
        << lines[0];
}

TEST(VXComInit, ScopeUndoesOnlyWhatItDid) {
    LogCapture log;
    onNewThread([] {
        {
            VXComScope scope(VXComMode::eOle);
            EXPECT_TRUE(scope.isInitialized());
        }
        EXPECT_TRUE(comWasDown());
    });
    onNewThread([] {
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        {
            VXComScope scope(VXComMode::eMultiThreaded);
            EXPECT_FALSE(scope.isInitialized());
        }
        // The thread's own start-up is still in place.
        EXPECT_TRUE(singleThreaded());
        CoUninitialize();
    });
    EXPECT_EQ(log.lines().size(), 1u);
}

}  // namespace
