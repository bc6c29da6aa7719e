// Platform error numbers to result codes, and the system texts that go with them.
#include <cstring>

#include "VXLog.h"
#include "VXResult.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

#ifdef _WIN32
// The network-management messages live in netmsg.dll, not in the system's own table.
constexpr uint32_t kNetMessageFirst = 2100;
constexpr uint32_t kNetMessageLast = 2999;
constexpr uint32_t kSystemDirectoryChars = 261;
constexpr uint32_t kNeutralLanguage = 0x400;
constexpr uint32_t kLoadAsDataFile = 2;
#endif

struct CodePair {
    int64_t from;
    int32_t to;
};

constexpr CodePair kWin32Codes[] = {
    {0, 2000},    {2, 2008},    {3, 2008},    {126, 2008},  {127, 2008}, {1060, 2008}, {4, 2011},
    {100, 2011},  {152, 2011},  {214, 2011},  {5, 2006},    {110, 2006}, {6, 2003},    {8, 2004},
    {14, 2004},   {19, 2030},   {21, 2031},   {29, 2010},   {30, 2010},  {1117, 2010}, {1127, 2010},
    {32, 2029},   {33, 2029},   {39, 2015},   {112, 2015},  {54, 2012},  {142, 2012},  {148, 2012},
    {170, 2012},  {231, 2012},  {80, 2009},   {183, 2009},  {1073, 2009}, {87, 2005},  {120, 2018},
    {154, 2033},  {206, 2033},  {1072, 2019},
};

constexpr CodePair kHResultCodes[] = {
    {0x80070005, 2006}, {0x80004004, 2028}, {0x80004001, 2018}, {0x80004002, 2008},
    {0x80004003, 2002}, {0x8000FFFF, 2020}, {0x8002000B, 2016}, {0x80070006, 2003},
    {0x8007000E, 2004}, {0x80070057, 2005}, {0, 2000},          {1, 1000},
};

constexpr CodePair kCrtCodes[] = {
    {0, 2000},  {1, 2006},  {13, 2006}, {30, 2006}, {2, 2008},  {3, 2008},  {6, 2008},
    {5, 2010},  {9, 2003},  {12, 2004}, {16, 2012}, {17, 2009}, {22, 2005}, {23, 2011},
    {24, 2011}, {31, 2011}, {28, 2015}, {34, 2016}, {38, 2033}, {42, 2034}, {80, 1006},
};

template <size_t N>
int32_t lookup(const CodePair (&table)[N], int64_t value) {
    for (const CodePair& pair : table) {
        if (pair.from == value) return pair.to;
    }
    return VXError::eSomeError;
}

void putInFront(VXString& out, const VXString& text) {
    // The system text ends with CR LF; the result keeps one line.
    int32_t cut = static_cast<int32_t>(text.length());
    const int32_t cr = text.find(u'\r');
    const int32_t lf = text.find(u'\n');
    if (cr >= 0 && cr < cut) cut = cr;
    if (lf >= 0 && lf < cut) cut = lf;
    out.prepend(text.c_str(), cut);
}

}  // namespace

int32_t VXResult::mapWin32Error(uint32_t error) { return lookup(kWin32Codes, error); }

int32_t VXResult::mapHResult(int32_t hr) {
    const auto bits = static_cast<uint32_t>(hr);
    const uint32_t facility = bits & 0x1FFF0000u;
    const uint32_t low = bits & 0xFFFFu;
    if (facility == 0x00010000u || (facility == 0x00070000u && (low == 1722 || low == 1726 || low == 1727))) {
        return VXCCLError::eServerException;
    }
    return lookup(kHResultCodes, bits);
}

int32_t VXResult::mapCrtError(int32_t error) { return lookup(kCrtCodes, error); }

VXResult VXResult::fromCrtError(const char16_t* method, int32_t error) {
    VXResult r(mapCrtError(error));
    // strerror and the Windows CRT's _wcserror agree on the texts of the common values.
    r._message.appendFormat(u"Method \"%s\" returned CRT error [%d]. %hs", method ? method : u"", error,
                            std::strerror(error));
    return r;
}

VXResult VXResult::fromSystemError(const std::system_error& error) {
    const std::error_code& ec = error.code();
    if (ec.category() == std::system_category()) {
#ifdef _WIN32
        return VXResult(mapWin32Error(static_cast<uint32_t>(ec.value())));
#else
        // Off Windows the system category holds errno values.
        return VXResult(mapCrtError(ec.value()));
#endif
    }
    if (ec.category() == std::generic_category()) return VXResult(mapCrtError(ec.value()), u"%hs", error.what());
    return VXResult(VXError::eSomeError, u"Category: %hs, code=%u\n%hs", ec.category().name(),
                    static_cast<uint32_t>(ec.value()), ec.message().c_str());
}

void VXResult::formatWin32Message(uint32_t error, VXString& out) {
#ifdef _WIN32
    DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    HMODULE module = nullptr;
    if (error >= kNetMessageFirst && error <= kNetMessageLast) {
        wchar_t directory[kSystemDirectoryChars];
        const UINT n = GetSystemDirectoryW(directory, kSystemDirectoryChars);
        if (n == 0 || n > kSystemDirectoryChars - 1) {
            VX_LOG(VXLogLevel::eError, u"GetSystemDirectory failed with error %u", GetLastError());
            return;
        }
        VXString path = VXString::fromWide(directory);
        if (path.endsWith(u"\\").code() != VXStatus::eYes) path.append(u"\\");
        path.append(u"netmsg.dll");
        module = LoadLibraryExW(path.wstr(), nullptr, kLoadAsDataFile);
        if (module != nullptr) flags |= FORMAT_MESSAGE_FROM_HMODULE;
    }
    wchar_t* text = nullptr;
    FormatMessageW(flags, module, error, kNeutralLanguage, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    if (text != nullptr) {
        putInFront(out, VXString::fromWide(text));
        LocalFree(text);
    }
    if (module != nullptr) FreeLibrary(module);
#else
    putInFront(out, vxFormat(u"System error %u.", error));
#endif
}
