// The reader's windows and per-request settings; the filter list is observed through the
// stand-in's MagGetWindowFilterList.
#include <gtest/gtest.h>

#include "ScreenFixture.h"

namespace {

const VXRect kRect(40, 30, 360, 270);  // 320 x 240

using GetFilterListFn = int(WINAPI*)(HWND, DWORD*, int, HWND*);

// The filter list the stand-in holds for the control, read behind the reader's back.
std::vector<HWND> filterListOf(HWND control) {
    auto get = reinterpret_cast<GetFilterListFn>(
        reinterpret_cast<void*>(GetProcAddress(getMagnificationDll()->module(), "MagGetWindowFilterList")));
    HWND list[8] = {};
    const int total = get != nullptr ? get(control, nullptr, 8, list) : -1;
    return total < 0 ? std::vector<HWND>{reinterpret_cast<HWND>(-1)} : std::vector<HWND>(list, list + total);
}

bool windowAt(HWND window, const RECT& expected) {
    RECT rect = {};
    return GetWindowRect(window, &rect) && EqualRect(&rect, &expected);
}

class ReaderWindows : public ScreenFixture {};

}  // namespace

TEST_F(ReaderWindows, WindowsFollowEachSetupAndOnlyNewFilterListsAreSent) {
    HWND host = nullptr;
    HWND control = nullptr;
    {
        MagD3DScreenReader reader;
        auto expectCheck = [&](const VXRect& rect, const std::shared_ptr<VXImage>& image,
                               const char* expression) {
            VXResult result = reader.setup(rect, image);
            EXPECT_EQ(result.code(), VXError::eBadParameter) << expression;
            EXPECT_THAT(text(result),
                        HasSubstr(std::string("Parameter check \"") + expression + "\" failed"));
        };
        expectCheck(VXRect(50, 10, 10, 50), makeImage(40, 40), "!captureR.isEmpty()");
        expectCheck(kRect, makeImage(320, 240, 24), "image->getBytesPerPixel() == 4");
        expectCheck(kRect, makeImage(320, 239), "image->getHeight() == captureR.getHeight()");
        EXPECT_EQ(reader.getHostWindow(), nullptr) << "no window before a good setup";
        EXPECT_EQ(reader.readScreen().code(), VXError::ePreconditionFailed);

        const auto image = makeImage(320, 240);
        const auto other = makeImage(320, 240);
        const auto smaller = makeImage(100, 50);
        ASSERT_EQ(reader.setup(kRect, image).code(), VXError::eNoError);
        host = reader.getHostWindow();
        control = reader.getMagnifierControl();
        ASSERT_TRUE(IsWindow(host) && IsWindow(control));
        // Hidden, never activated, click-through; the control a visible child filling it.
        EXPECT_EQ(GetWindowLongPtrW(host, GWL_EXSTYLE), 0x08080020);
        EXPECT_EQ(GetWindowLongPtrW(host, GWL_STYLE) & (WS_POPUP | WS_VISIBLE), WS_POPUP);
        EXPECT_EQ(GetParent(control), host);
        EXPECT_TRUE(windowAt(control, RECT{40, 30, 360, 270}));

        HWND marker = reinterpret_cast<HWND>(0x9ABC);
        const std::vector<HWND> ab = {reinterpret_cast<HWND>(0x1234), reinterpret_cast<HWND>(0x5678)};
        // Each step: the list given, whether the reader passes it on (else a list set behind its
        // back survives). A fresh reader holds an empty list; empty after non-empty clears once.
        const struct {
            std::vector<HWND> list;
            bool sent;
        } steps[] = {{{}, false}, {ab, true}, {ab, false}, {{}, true}, {{}, false}};
        for (const auto& step : steps) {
            getMagnificationDll()->magSetWindowFilterList()(control, 0, 1, &marker);
            ASSERT_EQ(reader.setExcludedWindows(step.list).code(), VXError::eNoError);
            EXPECT_EQ(filterListOf(control), step.sent ? step.list : std::vector<HWND>{marker})
                << step.list.size();
        }

        // Above the library's limit: refused with its error, and the list it holds stays.
        ScopedVariable limit(L"VXMAG_FILTER_LIMIT", L"2");
        ASSERT_EQ(reader.setExcludedWindows(ab).code(), VXError::eNoError);
        VXResult result = reader.setExcludedWindows({ab[0], ab[1], ab[0]});
        EXPECT_EQ(result.code(), VXError::eTooMany);
        EXPECT_THAT(text(result), StartsWith("Too many windows supplied[3], Win32 error[50] at "));
        EXPECT_EQ(filterListOf(control), ab);

        // Moved behind the reader's back: the same rectangle and image leave it there, another
        // image of the same size does not, another rectangle moves and sizes the same windows.
        SetWindowPos(host, nullptr, 0, 0, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
        ASSERT_EQ(reader.setup(kRect, image).code(), VXError::eNoError);
        EXPECT_TRUE(windowAt(host, RECT{0, 0, 320, 240})) << "the same setup does nothing";
        ASSERT_EQ(reader.setup(kRect, other).code(), VXError::eNoError);
        EXPECT_TRUE(windowAt(host, RECT{40, 30, 360, 270}));
        ASSERT_EQ(reader.setup(VXRect(100, 50, 200, 100), smaller).code(), VXError::eNoError);
        EXPECT_EQ(reader.getHostWindow(), host) << "the same windows, moved";
        EXPECT_TRUE(windowAt(control, RECT{100, 50, 200, 100}));

        // The control gone and its class unregistered: the next setup fails and takes the host too.
        DestroyWindow(control);
        getMagnificationDll()->magUninitialize()();
        const VXResult failed = reader.setup(kRect, image);
        ASSERT_TRUE(getMagnificationDll()->magInitialize()());
        EXPECT_THAT(text(failed), StartsWith("Method \"CreateWindow\" returned Win32 error [1411]"));
        EXPECT_FALSE(IsWindow(host));
        EXPECT_EQ(reader.getHostWindow(), nullptr);
        // The last good rectangle and image again: the windows are made anew, not skipped.
        ASSERT_EQ(reader.setup(VXRect(100, 50, 200, 100), smaller).code(), VXError::eNoError);
        host = reader.getHostWindow();
        control = reader.getMagnifierControl();
        ASSERT_TRUE(IsWindow(control));
        ASSERT_EQ(reader.setExcludedWindows(ab).code(), VXError::eNoError);
        EXPECT_EQ(filterListOf(control), ab) << "the new control is given the list again";
    }
    EXPECT_FALSE(IsWindow(control)) << "destruction destroys both windows";
    EXPECT_FALSE(IsWindow(host));
}
