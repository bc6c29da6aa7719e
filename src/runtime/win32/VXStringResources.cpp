// The string-resource half of VXString: formats and texts that live in a module's string table.
#include <windows.h>

#include <atomic>
#include <cerrno>

#include "VXChecks.h"
#include "VXLog.h"
#include "VXResult.h"
#include "VXString.h"

namespace {

std::atomic<HINSTANCE> gInstance{nullptr};

// A pointer to the resource text itself (not terminated) and its length; 0 when missing.
int loadText(HINSTANCE module, uint32_t id, const wchar_t*& text) {
    text = nullptr;
    return LoadStringW(module, id, reinterpret_cast<LPWSTR>(&text), 0);
}

}  // namespace

void VXString::setInstance(void* module) {
    gInstance = static_cast<HINSTANCE>(module);
}

bool VXString::formatFromResourceArgs(uint32_t id, const VXFormatArg* args, size_t count) {
    const HINSTANCE module = gInstance.load();
    if (module == nullptr) {
        VX_LOG_ERROR(u"VXString::setInstance not called!");
        return false;
    }
    const wchar_t* text = nullptr;
    const int length = loadText(module, id, text);
    if (length <= 0) {
        VX_LOG_ERROR(u"Failed to load string resource");
        return false;
    }
    const VXString format(reinterpret_cast<const char16_t*>(text), length);
    if (!formatArgs(format.c_str(), args, count)) {
        // Formatting cuts what is too long; it fails only when no buffer can be had.
        VX_LOG_ERROR(u"Error attempting to format '%s': errNum = '%d'.", format, ENOMEM);
        return false;
    }
    return true;
}

VXResult VXString::fromRes(uint32_t id, VXString& out, void* module) {
    HINSTANCE instance = static_cast<HINSTANCE>(module);
    if (instance == nullptr) {
        instance = GetModuleHandleW(nullptr);
        if (instance == nullptr) {
            const int32_t error = static_cast<int32_t>(GetLastError());
            VX_LOG_ERROR(u"Call to GetModuleHandle() failed in VXString::fromRes() with %d", error);
            return VX_WIN32_ERROR_CODE(u"GetModuleHandle", error);
        }
    }
    const wchar_t* text = nullptr;
    const int length = loadText(instance, id, text);
    if (length <= 0) {
        VX_LOG_ERROR(u"Failed to load string resource");
        return VXResult(VXError::eNotFound, u"String resource %u not found", id);
    }
    out.assign(reinterpret_cast<const char16_t*>(text), length);
    return VXError::eNoError;
}
