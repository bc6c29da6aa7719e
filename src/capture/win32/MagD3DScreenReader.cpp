#include "MagD3DScreenReader.h"

#include <cstring>
#include <new>

#include "CapturedRow.h"
#include "HookD3D.h"
#include "VXChecks.h"
#include "VXPlatform.h"

namespace {

constexpr wchar_t kHostWindowClass[] = L"MagD3DScreenReader_HostWindowClass";
constexpr wchar_t kHostWindowName[] = L"MagD3DScreenReader_HostWindowName";
constexpr wchar_t kMagnifierWindowClass[] = L"Magnifier";
constexpr wchar_t kMagnifierWindowName[] = L"MagD3DScreenReader_MagCtrlWindowName";
// Never activated, layered without attributes and click-through: the host must not take focus
// or input from the user even if something showed it.
constexpr DWORD kHostExStyle = WS_EX_NOACTIVATE | WS_EX_LAYERED | WS_EX_TRANSPARENT;
constexpr DWORD kHostStyle = WS_POPUP;
constexpr DWORD kMagnifierStyle = WS_CHILD | WS_VISIBLE;
constexpr LONG_PTR kShowMagnifiedCursor = 0x0001;  // MS_SHOWMAGNIFIEDCURSOR
constexpr DWORD kFilterModeExclude = 0;            // MW_FILTERMODE_EXCLUDE
constexpr DWORD kReadOnlyLock = D3DLOCK_READONLY | D3DLOCK_NO_DIRTY_UPDATE;
constexpr int32_t kBytesPerPixel = 4;

uint64_t nowUs() {
    return VXPlatform::monotonicMicroseconds();
}
uint64_t nowMs() {
    return VXPlatform::monotonicMicroseconds() / 1000;
}

RECT toRECT(const VXRect& rect) {
    return RECT{rect.getLeft(), rect.getTop(), rect.getRight(), rect.getBottom()};
}

// Edges in order: an inverted rect lies inside whatever encloses its corners, yet has a width.
bool isOrdered(const VXRect& rect) {
    return rect.getLeft() <= rect.getRight() && rect.getTop() <= rect.getBottom();
}

}  // namespace

MagD3DScreenReader::MagD3DScreenReader() : _magnificationDll(getMagnificationDll()) {}

MagD3DScreenReader::~MagD3DScreenReader() {
    destroyWindows_();
}

VXResult MagD3DScreenReader::setup(const VXRect& captureR, const std::shared_ptr<VXImage>& image) {
    if (_magnificationDll == nullptr)
        return VX_ERROR(VXError::ePreconditionFailed, u"Mag dll not loaded");
    VX_CHECK_PARAM(!captureR.isEmpty());
    VX_CHECK_PARAM(image);
    VX_CHECK_PARAM(image->getBits());
    VX_CHECK_PARAM(image->getBytesPerPixel() == 4);
    VX_CHECK_PARAM(image->getWidth() == captureR.getWidth());
    VX_CHECK_PARAM(image->getHeight() == captureR.getHeight());
    // Nothing to do for the same rectangle and image, unless a failed setup took the windows.
    if (captureR == _captureRect && image == _image && _magnifierControl != nullptr)
        return VXError::eNoError;

    VX_RETURN_IF_ERROR(ensureWindows_(captureR));
    _captureRect = captureR;
    _image = image;
    // A first render while nobody listens: the interception discards it, and the magnifier has
    // its device and render target ready for the first capture.
    if (_magnificationDll->magSetWindowSource() != nullptr) {
        (void)_magnificationDll->magSetWindowSource()(_magnifierControl, toRECT(captureR));
    }
    return VXError::eNoError;
}

VXResult MagD3DScreenReader::setExcludedWindows(const std::vector<HWND>& windows) {
    if (_magnificationDll == nullptr)
        return VX_ERROR(VXError::ePreconditionFailed, u"Mag dll not loaded");
    if (_magnifierControl == nullptr)
        return VX_ERROR(VXError::ePreconditionFailed, u"No magnifier control");
    VX_CHECK_PARAM(windows.size() < static_cast<size_t>(INT32_MAX));
    if (windows.size() == _excludedWindows.size() &&
        (windows.empty() ||
         std::memcmp(windows.data(), _excludedWindows.data(), windows.size() * sizeof(HWND)) == 0)) {
        return VXError::eNoError;
    }
    auto setFilterList = _magnificationDll->magSetWindowFilterList();
    if (setFilterList == nullptr) {
        return VX_ERROR(VXError::ePreconditionFailed, u"MagSetWindowFilterList not found in Mag dll");
    }
    // The list is never passed empty: one null handle clears the exclusion.
    const int32_t count = windows.empty() ? 1 : static_cast<int32_t>(windows.size());
    std::unique_ptr<HWND[]> list(new (std::nothrow) HWND[count]);
    if (list == nullptr)
        return VX_ERROR(VXError::eNoMemory, u"Failed allocating %d window handles", count);
    if (windows.empty()) {
        list[0] = nullptr;
    } else {
        std::memcpy(list.get(), windows.data(), windows.size() * sizeof(HWND));
    }
    if (!setFilterList(_magnifierControl, kFilterModeExclude, count, list.get())) {
        const DWORD error = GetLastError();
        if (error == ERROR_NOT_SUPPORTED) {
            return VX_ERROR(VXError::eTooMany, u"Too many windows supplied[%d], Win32 error[%d]", count,
                            error);
        }
        return VX_WIN32_ERROR_CODE(u"MagSetWindowFilterList", error);
    }
    if (&windows != &_excludedWindows) {
        try {
            _excludedWindows = windows;
        } catch (const std::bad_alloc&) {
            _excludedWindows.clear();
            return VX_ERROR(VXError::eNoMemory, u"Failed storing %d window handles", count);
        }
    }
    return VXError::eNoError;
}

VXResult MagD3DScreenReader::setCaptureCursor(bool show) {
    if (_magnifierControl == nullptr)
        return VX_ERROR(VXError::ePreconditionFailed, u"No magnifier control");
    LONG_PTR style = GetWindowLongPtrW(_magnifierControl, GWL_STYLE);
    style = show ? (style | kShowMagnifiedCursor) : (style & ~kShowMagnifiedCursor);
    SetWindowLongPtrW(_magnifierControl, GWL_STYLE, style);
    return VXError::eNoError;
}

VXResult MagD3DScreenReader::readScreen() {
    if (_magnificationDll == nullptr)
        return VX_ERROR(VXError::ePreconditionFailed, u"Mag dll not loaded");
    if (_magnifierControl == nullptr)
        return VX_ERROR(VXError::ePreconditionFailed, u"No magnifier control");
    if (_captureRect.isEmpty())
        return VX_ERROR(VXError::ePreconditionFailed, u"No capture rectangle");
    if (_image == nullptr)
        return VX_ERROR(VXError::ePreconditionFailed, u"No capture image");
    auto setWindowSource = _magnificationDll->magSetWindowSource();
    if (setWindowSource == nullptr) {
        return VX_ERROR(VXError::ePreconditionFailed, u"MagSetWindowSource not found in Mag dll");
    }

    _callbackCount = 0;
    _callbackResult = VXResult();
    _anyPixelNotBlack = false;
    _stabilizationRounds = 0;
    _stabilizationTimeMs = 0;
    _stabilizationTimedOut = false;
    _timings = Timings();
    const uint64_t start = nowUs();

    // The magnifier renders inside this call, on this thread, and its StretchRect reaches
    // onStretchRect before the call returns: no message pump, no wait.
    HookD3D::setStretchRectListener(this);
    const BOOL rendered = setWindowSource(_magnifierControl, toRECT(_captureRect));
    const DWORD error = GetLastError();
    HookD3D::setStretchRectListener(nullptr);
    _timings.totalUs = nowUs() - start;

    if (!rendered)
        return VX_WIN32_ERROR_CODE(u"MagSetWindowSource", error);
    if (_callbackCount == 0)
        return VX_ERROR(VXError::eUnexpected, u"StretchRect() callback not called");
    if (_callbackResult.isError())
        return VX_CHAIN(_callbackResult);
    if (_anyPixelNotBlack)
        return VXError::eNoError;
    return VX_ERROR(VXError::eVerifyFailed, u"All captured pixels are black");
}

void MagD3DScreenReader::onStretchRect(IDirect3DDevice9* device, IDirect3DSurface9* sourceSurface,
                                       const RECT* sourceRect, IDirect3DSurface9* /*destSurface*/,
                                       const RECT* /*destRect*/, D3DTEXTUREFILTERTYPE /*filter*/) {
    ++_callbackCount;
    const uint64_t start = nowUs();
    // A failure is kept even if a later notification of the same capture succeeds.
    VXResult result = captureSource_(device, sourceSurface, sourceRect);
    if (result.isError())
        _callbackResult = result;
    _timings.notificationUs += nowUs() - start;
}

VXResult MagD3DScreenReader::checkSource_(IDirect3DDevice9* device, IDirect3DSurface9* sourceSurface,
                                          const RECT* sourceRect, D3DSURFACE_DESC& desc) const {
    if (device == nullptr)
        return VX_ERROR(VXError::eUnexpected, u"Device (pThis) is nullptr");
    const int32_t width = _captureRect.getWidth();
    const int32_t height = _captureRect.getHeight();
    // An inverted rectangle passes the edge tests and has a width, but copying it runs past the
    // image's end.
    if (sourceRect != nullptr && (sourceRect->left < 0 || sourceRect->top < 0 || sourceRect->right > width ||
                                  sourceRect->bottom > height || sourceRect->left > sourceRect->right ||
                                  sourceRect->top > sourceRect->bottom)) {
        return VX_ERROR(VXError::eUnexpected, u"pSourceRect out of bounds (%d, %d, %d, %d)", sourceRect->left,
                        sourceRect->top, sourceRect->right, sourceRect->bottom);
    }
    if (sourceSurface == nullptr)
        return VX_ERROR(VXError::eUnexpected, u"pSourceSurface is nullptr");
    const HRESULT hr = sourceSurface->GetDesc(&desc);
    if (FAILED(hr))
        return VX_HRESULT_ERROR(u"GetDesc", hr);
    if (desc.Width != static_cast<UINT>(width) || desc.Height != static_cast<UINT>(height)) {
        return VX_ERROR(VXError::eUnexpected, u"Unexpected src surface size (%u, %u)", desc.Width,
                        desc.Height);
    }
    if (desc.Format != D3DFMT_A8R8G8B8 && desc.Format != D3DFMT_X8R8G8B8) {
        return VX_ERROR(VXError::eUnexpected, u"Unexpected src surface format (%u)",
                        static_cast<uint32_t>(desc.Format));
    }
    if ((desc.Usage & D3DUSAGE_RENDERTARGET) == 0) {
        return VX_ERROR(VXError::eUnexpected, u"Unexpected src surface usage (0x%x)", desc.Usage);
    }
    if (desc.Pool != D3DPOOL_DEFAULT) {
        return VX_ERROR(VXError::eUnexpected, u"Unexpected src surface pool (%u)",
                        static_cast<uint32_t>(desc.Pool));
    }
    return VXError::eNoError;
}

VXResult MagD3DScreenReader::captureSource_(IDirect3DDevice9* device, IDirect3DSurface9* sourceSurface,
                                            const RECT* sourceRect) {
    D3DSURFACE_DESC desc = {};
    VXResult checked = checkSource_(device, sourceSurface, sourceRect, desc);
    if (checked.isError())
        return checked;

    CopyTarget copy;
    copy.rect = sourceRect != nullptr
                    ? VXRect(sourceRect->left, sourceRect->top, sourceRect->right, sourceRect->bottom)
                    : VXRect(0, 0, static_cast<int32_t>(desc.Width), static_cast<int32_t>(desc.Height));
    copy.image = _image;
    copy.anyNotBlack = _anyPixelNotBlack;
    IDirect3DSurface9* readback = nullptr;
    VX_RETURN_IF_ERROR(
        stableReadback(device, sourceSurface, &desc, kStabilizationTimeoutMs, readback, &copy));
    if (copy.done) {
        _anyPixelNotBlack = copy.anyNotBlack;
        return VXError::eNoError;
    }
    // Timed out: the last readback, which nothing compared equal, is taken as it is.
    const uint64_t start = nowUs();
    VXResult copied = copySurfaceToImage(readback, copy.rect, _image, _anyPixelNotBlack);
    _timings.copyUs += nowUs() - start;
    VX_RETURN_IF_ERROR(copied);
    return VXError::eNoError;
}

VXResult MagD3DScreenReader::stableReadback(IDirect3DDevice9* pDevice,
                                            IDirect3DSurface9* pRenderTargetSurface,
                                            const D3DSURFACE_DESC* pRenderTargetSurfaceDesc,
                                            uint32_t timeoutMs, IDirect3DSurface9*& result,
                                            CopyTarget* copy) {
    VX_CHECK_PARAM(pDevice);
    VX_CHECK_PARAM(pRenderTargetSurface);
    VX_CHECK_PARAM(pRenderTargetSurfaceDesc);
    const uint64_t t0 = nowMs();
    auto timedReadback = [&](C_ComPtr<IDirect3DSurface9>& surface) {
        const uint64_t start = nowUs();
        VXResult r = readbackOnce(pDevice, pRenderTargetSurface, pRenderTargetSurfaceDesc, surface);
        _timings.readbackUs += nowUs() - start;
        ++_timings.readbacks;
        return r;
    };

    int a = 0;  // the slot holding the most recent readback
    VX_RETURN_IF_ERROR(timedReadback(_readbacks[a]));
    uint32_t rounds = 0;
    bool timedOut = nowMs() - t0 >= timeoutMs;
    while (!timedOut) {
        const int b = 1 - a;
        VX_RETURN_IF_ERROR(timedReadback(_readbacks[b]));
        bool different = false;
        const uint64_t start = nowUs();
        VXResult compared = copy != nullptr
                                ? compareAndCopy(_readbacks[a].get(), _readbacks[b].get(), *copy, different)
                                : compareSurfaces(_readbacks[a].get(), _readbacks[b].get(), different);
        _timings.compareUs += nowUs() - start;
        VX_RETURN_IF_ERROR(compared);
        if (!different)
            break;
        ++rounds;
        a = b;
        timedOut = nowMs() - t0 >= timeoutMs;
    }
    result = _readbacks[a].get();
    _stabilizationRounds = rounds;
    _stabilizationTimeMs = static_cast<uint32_t>(nowMs() - t0);
    _stabilizationTimedOut = timedOut;
    return VXError::eNoError;
}

VXResult MagD3DScreenReader::readbackOnce(IDirect3DDevice9* pDevice, IDirect3DSurface9* pRenderTargetSurface,
                                          const D3DSURFACE_DESC* pRenderTargetSurfaceDesc,
                                          C_ComPtr<IDirect3DSurface9>& surface) {
    VX_CHECK_PARAM(pDevice);
    VX_CHECK_PARAM(pRenderTargetSurface);
    VX_CHECK_PARAM(pRenderTargetSurfaceDesc);
    const D3DSURFACE_DESC& want = *pRenderTargetSurfaceDesc;
    if (surface) {
        D3DSURFACE_DESC held = {};
        C_ComPtr<IDirect3DDevice9> owner;
        const bool reusable = SUCCEEDED(surface->GetDesc(&held)) && held.Width == want.Width &&
                              held.Height == want.Height && held.Format == want.Format &&
                              SUCCEEDED(surface->GetDevice(owner.put())) && owner.get() == pDevice;
        if (!reusable)
            surface.reset();
    }
    if (!surface) {
        const HRESULT hr = pDevice->CreateOffscreenPlainSurface(want.Width, want.Height, want.Format,
                                                                D3DPOOL_SYSTEMMEM, surface.put(), nullptr);
        if (FAILED(hr) || !surface) {
            surface.reset();
            return VX_HRESULT_ERROR(u"CreateOffscreenPlainSurface", hr);
        }
    }
    const HRESULT hr = pDevice->GetRenderTargetData(pRenderTargetSurface, surface.get());
    if (FAILED(hr))
        return VX_HRESULT_ERROR(u"GetRenderTargetData", hr);
    return VXError::eNoError;
}

VXResult MagD3DScreenReader::compareSurfaces(IDirect3DSurface9* pSurface1, IDirect3DSurface9* pSurface2,
                                             bool& different) {
    VX_CHECK_PARAM(pSurface1);
    VX_CHECK_PARAM(pSurface2);
    return compareRows_(pSurface1, pSurface2, nullptr, different);
}

VXResult MagD3DScreenReader::compareAndCopy(IDirect3DSurface9* pSurface1, IDirect3DSurface9* pSurface2,
                                            CopyTarget& copy, bool& different) {
    VX_CHECK_PARAM(pSurface1);
    VX_CHECK_PARAM(pSurface2);
    const std::shared_ptr<VXImage>& imageDst = copy.image;
    VX_CHECK_PARAM(imageDst);
    VX_CHECK_PARAM(imageDst->getBits());
    VX_CHECK_PARAM(imageDst->getBytesPerPixel() == 4);
    VX_CHECK_PARAM(isOrdered(copy.rect));
    VX_CHECK_PARAM(VXRect(imageDst->getSize()).isEnclosing(copy.rect));
    return compareRows_(pSurface1, pSurface2, &copy, different);
}

VXResult MagD3DScreenReader::compareRows_(IDirect3DSurface9* pSurface1, IDirect3DSurface9* pSurface2,
                                          CopyTarget* copy, bool& different) {
    D3DSURFACE_DESC desc1 = {};
    D3DSURFACE_DESC desc2 = {};
    HRESULT hr = pSurface1->GetDesc(&desc1);
    if (FAILED(hr))
        return VX_HRESULT_ERROR(u"GetDesc", hr);
    hr = pSurface2->GetDesc(&desc2);
    if (FAILED(hr))
        return VX_HRESULT_ERROR(u"GetDesc", hr);
    if (desc1.Width != desc2.Width || desc1.Height != desc2.Height || desc1.Format != desc2.Format) {
        return VX_ERROR(VXError::eUnexpected, u"Surfaces different in size or format");
    }
    // The copy reads only what the comparison covers.
    const VXRect rect = copy != nullptr ? copy->rect : VXRect();
    if (copy != nullptr) {
        VX_CHECK_PARAM(VXRect(0, 0, static_cast<int32_t>(desc1.Width), static_cast<int32_t>(desc1.Height))
                           .isEnclosing(rect));
    }

    D3DLOCKED_RECT locked1 = {};
    D3DLOCKED_RECT locked2 = {};
    hr = pSurface1->LockRect(&locked1, nullptr, kReadOnlyLock);
    if (FAILED(hr))
        return VX_HRESULT_ERROR(u"LockRect", hr);
    hr = pSurface2->LockRect(&locked2, nullptr, kReadOnlyLock);
    if (FAILED(hr)) {
        pSurface1->UnlockRect();
        return VX_HRESULT_ERROR(u"LockRect", hr);
    }
    const size_t rowBytes = static_cast<size_t>(desc1.Width) * kBytesPerPixel;
    const int32_t width = rect.getWidth();
    const size_t copyBytes = static_cast<size_t>(width) * kBytesPerPixel;
    const size_t copyOffset = static_cast<size_t>(rect.getLeft()) * kBytesPerPixel;
    const uint8_t* row1 = static_cast<const uint8_t*>(locked1.pBits);
    const uint8_t* row2 = static_cast<const uint8_t*>(locked2.pBits);
    bool differs = false;
    bool anyNotBlack = copy != nullptr && copy->anyNotBlack;
    VXResult result = VXError::eNoError;
    for (int32_t y = 0; y < static_cast<int32_t>(desc1.Height); ++y) {
        if (std::memcmp(row1, row2, rowBytes) != 0) {
            differs = true;
            break;
        }
        // Each row is copied while it is still in the cache from the comparison.
        if (copy != nullptr && y >= rect.getTop() && y < rect.getBottom()) {
            const uint8_t* src = row1 + copyOffset;
            if (!anyNotBlack)
                anyNotBlack = capturedRowHasColor(src, width);
            uint8_t* dst = copy->image->getPixelPtr(rect.getLeft(), y);
            if (dst == nullptr) {
                result = VX_ERROR(VXError::eUnexpected, u"nullptr src (%p) or dst (%p) pointers at y (%d)",
                                  src, dst, y);
                break;
            }
            std::memcpy(dst, src, copyBytes);
        }
        row1 += locked1.Pitch;
        row2 += locked2.Pitch;
    }
    const HRESULT unlocked1 = pSurface1->UnlockRect();
    const HRESULT unlocked2 = pSurface2->UnlockRect();
    VX_RETURN_IF_ERROR(result);
    if (FAILED(unlocked1))
        return VX_HRESULT_ERROR(u"UnlockRect", unlocked1);
    if (FAILED(unlocked2))
        return VX_HRESULT_ERROR(u"UnlockRect", unlocked2);
    different = differs;
    if (copy != nullptr && !differs) {
        copy->anyNotBlack = anyNotBlack;
        copy->done = true;
    }
    return VXError::eNoError;
}

VXResult MagD3DScreenReader::copySurfaceToImage(IDirect3DSurface9* pSysMemSurfaceSrc, const VXRect& rect,
                                                const std::shared_ptr<VXImage>& imageDst, bool& anyNotBlack) {
    VX_CHECK_PARAM(pSysMemSurfaceSrc);
    VX_CHECK_PARAM(imageDst);
    VX_CHECK_PARAM(imageDst->getBits());
    VX_CHECK_PARAM(imageDst->getBytesPerPixel() == 4);
    VX_CHECK_PARAM(isOrdered(rect));
    VX_CHECK_PARAM(VXRect(imageDst->getSize()).isEnclosing(rect));

    RECT lockRect = toRECT(rect);
    D3DLOCKED_RECT locked = {};
    const HRESULT hr = pSysMemSurfaceSrc->LockRect(&locked, &lockRect, kReadOnlyLock);
    if (FAILED(hr))
        return VX_HRESULT_ERROR(u"LockRect", hr);

    const int32_t width = rect.getWidth();
    const size_t rowBytes = static_cast<size_t>(width) * kBytesPerPixel;
    const uint8_t* src = static_cast<const uint8_t*>(locked.pBits);
    for (int32_t y = rect.getTop(); y < rect.getBottom(); ++y) {
        // Once one pixel with colour was seen, the rest need not be looked at.
        if (!anyNotBlack && src != nullptr)
            anyNotBlack = capturedRowHasColor(src, width);
        uint8_t* dst = imageDst->getPixelPtr(rect.getLeft(), y);
        if (src == nullptr || dst == nullptr) {
            pSysMemSurfaceSrc->UnlockRect();
            return VX_ERROR(VXError::eUnexpected, u"nullptr src (%p) or dst (%p) pointers at y (%d)", src,
                            dst, y);
        }
        std::memcpy(dst, src, rowBytes);
        src += locked.Pitch;
    }
    pSysMemSurfaceSrc->UnlockRect();
    return VXError::eNoError;
}

VXResult MagD3DScreenReader::ensureWindows_(const VXRect& rect) {
    VXResult result = ensureHostWindow(rect);
    if (result.isSuccess())
        result = ensureMagnifierControl(rect);
    if (result.isError()) {
        destroyWindows_();
        return VX_CHAIN(result);
    }
    return VXError::eNoError;
}

VXResult MagD3DScreenReader::ensureHostWindow(const VXRect& rect) {
    const HINSTANCE instance = GetModuleHandleW(nullptr);
    if (IsWindow(_hostWindow)) {
        if (!MoveWindow(_hostWindow, rect.getLeft(), rect.getTop(), rect.getWidth(), rect.getHeight(),
                        FALSE)) {
            return VX_WIN32_ERROR(u"MoveWindow");
        }
        return VXError::eNoError;
    }
    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = DefWindowProcW;
    windowClass.hInstance = instance;
    windowClass.lpszClassName = kHostWindowClass;
    // A second reader in the process registers again; that failure is harmless.
    (void)RegisterClassW(&windowClass);
    _hostWindow = CreateWindowExW(kHostExStyle, kHostWindowClass, kHostWindowName, kHostStyle, rect.getLeft(),
                                  rect.getTop(), rect.getWidth(), rect.getHeight(), nullptr, nullptr,
                                  instance, nullptr);
    if (_hostWindow == nullptr)
        return VX_WIN32_ERROR(u"CreateWindowEx");
    return VXError::eNoError;
}

VXResult MagD3DScreenReader::ensureMagnifierControl(const VXRect& rect) {
    if (!IsWindow(_hostWindow))
        return VX_ERROR(VXError::ePreconditionFailed, u"No host window");
    if (IsWindow(_magnifierControl)) {
        if (!MoveWindow(_magnifierControl, 0, 0, rect.getWidth(), rect.getHeight(), FALSE)) {
            return VX_WIN32_ERROR(u"MoveWindow");
        }
        return VXError::eNoError;
    }
    _magnifierControl = CreateWindowExW(0, kMagnifierWindowClass, kMagnifierWindowName, kMagnifierStyle, 0, 0,
                                        rect.getWidth(), rect.getHeight(), _hostWindow, nullptr,
                                        GetModuleHandleW(nullptr), nullptr);
    if (_magnifierControl == nullptr)
        return VX_WIN32_ERROR(u"CreateWindow");
    return VXError::eNoError;
}

void MagD3DScreenReader::destroyWindows_() {
    // The control goes first: it belongs to the host. A new control starts with no filter
    // list, so the stored one no longer describes it.
    _excludedWindows.clear();
    if (IsWindow(_magnifierControl))
        DestroyWindow(_magnifierControl);
    _magnifierControl = nullptr;
    if (IsWindow(_hostWindow))
        DestroyWindow(_hostWindow);
    _hostWindow = nullptr;
}
