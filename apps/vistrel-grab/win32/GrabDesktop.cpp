// The Windows half of GrabDesktop.h.
#include "GrabDesktop.h"

#include <windows.h>

const char* const GrabDesktop::kWindowWord = "HWND";
const char* const GrabDesktop::kServerExample = "PATH\\Vistrel.exe";

namespace {

struct TitleSearch {
    const VXString* title;
    std::vector<uint64_t>* handles;
};

BOOL CALLBACK collectByTitle(HWND window, LPARAM param) {
    auto* search = reinterpret_cast<TitleSearch*>(param);
    wchar_t text[512];
    const int n = GetWindowTextW(window, text, 512);
    if (n > 0 && VXString::fromWide(text) == *search->title) {
        search->handles->push_back(reinterpret_cast<uintptr_t>(window));
    }
    return TRUE;
}

}  // namespace

VXResult GrabDesktop::findWindowsByTitle(const VXString& title, std::vector<uint64_t>& handles) {
    TitleSearch search{&title, &handles};
    EnumWindows(collectByTitle, reinterpret_cast<LPARAM>(&search));
    return VXError::eNoError;
}

VXResult GrabDesktop::listMonitors(std::vector<Vistrel::MonitorInfo>& monitors, VXRect& virtualScreen) {
    return Vistrel::MonitorList::list(monitors, virtualScreen);
}
