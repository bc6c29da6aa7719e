#include <gtest/gtest.h>

#include <windows.h>

#include <objbase.h>

#include <functional>
#include <string>
#include <thread>

#include "VXComInit.h"
#include "support/LogCapture.h"

namespace {

// COM state belongs to a thread: every case gets a fresh one.
void onNewThread(const std::function<void()>& body) {
    std::thread(body).join();
}

APTTYPE apartment() {
    APTTYPE type = APTTYPE_CURRENT;
    APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
    return SUCCEEDED(CoGetApartmentType(&type, &qualifier)) ? type : APTTYPE_CURRENT;
}

// The first single-threaded apartment of a process is its main one.
bool singleThreaded() {
    return apartment() == APTTYPE_STA || apartment() == APTTYPE_MAINSTA;
}

// S_OK: COM was not up on this thread (and now is, multithreaded; undone here).
bool comWasDown() {
    const HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (SUCCEEDED(hr))
        CoUninitialize();
    return hr == S_OK;
}

TEST(VXComInit, EachModeBringsUpItsApartment) {
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
        initializeCom(VXComMode::eOle);
        EXPECT_TRUE(singleThreaded());
        OleUninitialize();
    });
    for (int mode : {0, 1, 5, -1}) {
        onNewThread([mode] {
            initializeCom(mode);
            EXPECT_TRUE(comWasDown()) << mode;
        });
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST(VXComInit, ModeClashIsLoggedAsTheStartUpsError) {
    LogCapture log;
    onNewThread([] {
        initializeCom(VXComMode::eApartmentThreaded);
        initializeCom(VXComMode::eMultiThreaded);
        CoUninitialize();
    });
    onNewThread([] {
        initializeCom(VXComMode::eMultiThreaded);
        initializeCom(VXComMode::eOle);
        CoUninitialize();
    });
    const std::vector<std::string> lines = log.bodies();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].substr(0, 3), "E: ");
    EXPECT_NE(lines[0].find("<winmain.cpp> initializeCom - CoInitializeEx() failed"), std::string::npos)
        << lines[0];
    EXPECT_NE(lines[1].find("<winmain.cpp> initializeCom - OleInitialize() failed"), std::string::npos)
        << lines[1];
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
