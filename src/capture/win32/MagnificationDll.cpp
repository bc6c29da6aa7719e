#include "MagnificationDll.h"

#include "HookD3D.h"
#include "VXChecks.h"

namespace {

MagnificationDll* gMagnificationDll = nullptr;

template <typename Fn>
Fn resolve(HMODULE module, const char* name) {
    if (module == nullptr)
        return nullptr;
    return reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

}  // namespace

MagnificationDll::MagnificationDll(const wchar_t* fileName) : _module(LoadLibraryW(fileName)) {
    _magInitialize = resolve<MagInitializeFn>(_module, "MagInitialize");
    _magUninitialize = resolve<MagUninitializeFn>(_module, "MagUninitialize");
    _magSetWindowSource = resolve<MagSetWindowSourceFn>(_module, "MagSetWindowSource");
    _magSetWindowFilterList = resolve<MagSetWindowFilterListFn>(_module, "MagSetWindowFilterList");
    _magSetImageScalingCallback =
        resolve<MagSetImageScalingCallbackFn>(_module, "MagSetImageScalingCallback");
}

MagnificationDll::~MagnificationDll() {
    if (_module != nullptr)
        FreeLibrary(_module);
}

MagnificationDll* getMagnificationDll() {
    if (gMagnificationDll != nullptr)
        return gMagnificationDll;
    auto* dll = new MagnificationDll();
    if (!dll->isLoaded()) {
        delete dll;
        return nullptr;
    }
    // Never released: the magnifier windows and the interception rely on the library for
    // the whole run.
    gMagnificationDll = dll;
    return gMagnificationDll;
}

VXResult initMagnification(bool skipHook) {
    MagnificationDll* dll = getMagnificationDll();
    if (dll == nullptr)
        return VX_ERROR(VXError::eUnexpected, u"Failed getting Mag dll");
    if (dll->magInitialize() == nullptr) {
        return VX_ERROR(VXError::ePreconditionFailed, u"MagInitialize not found in Mag dll");
    }
    if (!dll->magInitialize()())
        return VX_WIN32_ERROR(u"MagInitialize");
    if (!skipHook)
        VX_RETURN_IF_ERROR(HookD3D::installStretchRectHook(HookD3D::eCallOriginalNever));
    return VXError::eNoError;
}

void uninitMagnification(bool skipHook) {
    if (!skipHook)
        HookD3D::removeStretchRectHook().logIfError(VX_SITE);
    MagnificationDll* dll = getMagnificationDll();
    if (dll == nullptr) {
        VX_ERROR(VXError::eUnexpected, u"Failed getting Mag dll").logIfError(VX_SITE);
        return;
    }
    if (dll->magUninitialize() == nullptr) {
        VX_ERROR(VXError::ePreconditionFailed, u"MagUninitialize not found in Mag dll").logIfError(VX_SITE);
        return;
    }
    if (!dll->magUninitialize()())
        VX_WIN32_ERROR(u"MagUninitialize").logIfError(VX_SITE);
}
