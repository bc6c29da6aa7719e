// The library's entry points outside rendering: class registration and the filter list.
#include "MagnifierFixture.h"

#include <vector>

namespace {

constexpr RECT kHost = {0, 0, 320, 240};
constexpr int kDefaultLimit = 1000;

bool magnifierClassRegistered() {
    WNDCLASSEXW info = {};
    info.cbSize = sizeof(info);
    return GetClassInfoExW(GetModuleHandleW(nullptr), L"Magnifier", &info) != FALSE;
}

// Fake handles are enough: the list is stored, not checked, until a render.
std::vector<HWND> fakeHandles(int count) {
    std::vector<HWND> handles;
    for (int i = 0; i < count; ++i) {
        handles.push_back(reinterpret_cast<HWND>(static_cast<INT_PTR>(0x10000 + 2 * i)));
    }
    return handles;
}

using MagnifierLibraryTest = MagnifierTest;

TEST_F(MagnifierLibraryTest, InitializeRegistersTheControlClassAndUninitializeRemovesIt) {
    EXPECT_TRUE(magnifierClassRegistered());
    EXPECT_TRUE(mag.uninitialize());
    EXPECT_FALSE(magnifierClassRegistered());
    EXPECT_TRUE(mag.initialize());
    EXPECT_TRUE(magnifierClassRegistered());
    EXPECT_TRUE(mag.setImageScalingCallback(nullptr, nullptr));
}

TEST_F(MagnifierLibraryTest, CallsOnAWindowThatIsNoControlFail) {
    HWND plain = createSolidWindow(kHost, kRed);
    HWND list[] = {plain};
    SetLastError(0);
    EXPECT_FALSE(mag.setWindowSource(plain, kHost));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_WINDOW_HANDLE));
    SetLastError(0);
    EXPECT_FALSE(mag.setWindowFilterList(plain, 0, 1, list));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_WINDOW_HANDLE));
}

TEST_F(MagnifierLibraryTest, FilterListAboveTheLimitFailsWithError50) {
    ASSERT_NE(createControl(kHost), nullptr);
    std::vector<HWND> handles = fakeHandles(kDefaultLimit + 1);
    EXPECT_TRUE(mag.setWindowFilterList(control_, 0, kDefaultLimit, handles.data()));
    SetLastError(0);
    EXPECT_FALSE(mag.setWindowFilterList(control_, 0, kDefaultLimit + 1, handles.data()));
    EXPECT_EQ(GetLastError(), 50u);
}

TEST_F(MagnifierLibraryTest, FilterListLimitComesFromTheEnvironment) {
    ASSERT_NE(createControl(kHost), nullptr);
    ScopedVariable limit(L"VXMAG_FILTER_LIMIT", L"2");
    std::vector<HWND> handles = fakeHandles(3);
    EXPECT_TRUE(mag.setWindowFilterList(control_, 0, 2, handles.data()));
    SetLastError(0);
    EXPECT_FALSE(mag.setWindowFilterList(control_, 0, 3, handles.data()));
    EXPECT_EQ(GetLastError(), 50u);
}

TEST_F(MagnifierLibraryTest, IncludeModeIsRefused) {
    ASSERT_NE(createControl(kHost), nullptr);
    std::vector<HWND> handles = fakeHandles(1);
    EXPECT_FALSE(mag.setWindowFilterList(control_, 1, 1, handles.data()));
}

}  // namespace
