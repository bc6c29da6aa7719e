#include "MagnifierFixture.h"

#include <string>
#include <type_traits>

#include "support/win32/ChildProcess.h"
#include "support/win32/SolidWindow.h"

namespace {

constexpr wchar_t kLibraryName[] = L"Magnification.dll";
constexpr wchar_t kSolidClass[] = L"VxSolidTestWindow";
constexpr wchar_t kControlClass[] = L"Magnifier";
constexpr DWORD kSolidExStyle = WS_EX_TOPMOST | WS_EX_TOOLWINDOW;

MagnifierLibrary load() {
    MagnifierLibrary lib;
    lib.module = LoadLibraryW(ChildProcess::besideTest(kLibraryName).c_str());
    if (lib.module == nullptr) {
        return lib;
    }
    auto resolve = [&](auto& fn, const char* name) {
        fn = reinterpret_cast<std::remove_reference_t<decltype(fn)>>(
            reinterpret_cast<void*>(GetProcAddress(lib.module, name)));
    };
    resolve(lib.initialize, "MagInitialize");
    resolve(lib.uninitialize, "MagUninitialize");
    resolve(lib.setWindowSource, "MagSetWindowSource");
    resolve(lib.setWindowFilterList, "MagSetWindowFilterList");
    testsupport::registerSolidWindowClass(kSolidClass);
    return lib;
}

}  // namespace

const MagnifierLibrary& MagnifierLibrary::get() {
    static const MagnifierLibrary library = load();
    return library;
}

bool MagnifierLibrary::complete() const {
    return module != nullptr && initialize != nullptr && uninitialize != nullptr &&
           setWindowSource != nullptr && setWindowFilterList != nullptr;
}

void pumpMessages() {
    MSG msg;
    while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
}

void MagnifierTest::SetUp() {
    ASSERT_TRUE(mag.complete()) << "Magnification.dll missing beside the test or lacking an export";
    ASSERT_TRUE(StretchRectRecorder::install());
    ASSERT_TRUE(mag.initialize());
}

void MagnifierTest::TearDown() {
    // Controls go before MagUninitialize, as the system library requires.
    for (auto it = windows_.rbegin(); it != windows_.rend(); ++it) {
        DestroyWindow(*it);
    }
    if (host_ != nullptr) {
        DestroyWindow(host_);
    }
    pumpMessages();
    if (mag.complete()) {
        mag.uninitialize();
    }
    StretchRectRecorder::reset(0);
}

HWND MagnifierTest::createControl(const RECT& hostBounds) {
    const int width = hostBounds.right - hostBounds.left;
    const int height = hostBounds.bottom - hostBounds.top;
    host_ =
        CreateWindowExW(kSolidExStyle, kSolidClass, L"magnifier host", WS_POPUP, hostBounds.left,
                        hostBounds.top, width, height, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    if (host_ == nullptr) {
        return nullptr;
    }
    control_ = CreateWindowExW(0, kControlClass, L"", WS_CHILD | WS_VISIBLE, 0, 0, width, height, host_,
                               nullptr, GetModuleHandleW(nullptr), nullptr);
    pumpMessages();
    return control_;
}

HWND MagnifierTest::createSolidWindow(const RECT& bounds, COLORREF color) {
    HWND window = CreateWindowExW(kSolidExStyle, kSolidClass, L"solid", WS_POPUP, bounds.left, bounds.top,
                                  bounds.right - bounds.left, bounds.bottom - bounds.top, nullptr, nullptr,
                                  GetModuleHandleW(nullptr), nullptr);
    if (window != nullptr) {
        SetWindowLongPtrW(window, GWLP_USERDATA, static_cast<LONG_PTR>(color));
        ShowWindow(window, SW_SHOWNOACTIVATE);
        UpdateWindow(window);
        windows_.push_back(window);
    }
    pumpMessages();
    return window;
}

BOOL MagnifierTest::render(const RECT& source, int readbacks) {
    StretchRectRecorder::reset(readbacks);
    return mag.setWindowSource(control_, source);
}

const Readback& MagnifierTest::image() const {
    static const Readback none;
    const auto& readbacks = StretchRectRecorder::readbacks();
    return readbacks.empty() ? none : readbacks.front();
}
