#include "FileSecurity.h"

#include <windows.h>
// windows.h first: these need its types.
#include <aclapi.h>
#include <sddl.h>

#include <set>
#include <string>

namespace testsupport {

namespace {

std::wstring wide(const std::string& text) {
    const int n = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
    std::wstring out(static_cast<size_t>(n), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, out.data(), n);
    out.resize(static_cast<size_t>(n > 0 ? n - 1 : 0));
    return out;
}

std::string sidText(PSID sid) {
    wchar_t* text = nullptr;
    if (!ConvertSidToStringSidW(sid, &text))
        return "?";
    std::string out;
    for (const wchar_t* c = text; *c != L'\0'; ++c)
        out.push_back(static_cast<char>(*c));
    LocalFree(text);
    return out;
}

std::string userSid() {
    HANDLE token = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token);
    DWORD size = 0;
    GetTokenInformation(token, TokenUser, nullptr, 0, &size);
    std::string buffer(size, '\0');
    GetTokenInformation(token, TokenUser, buffer.data(), size, &size);
    CloseHandle(token);
    return sidText(reinterpret_cast<TOKEN_USER*>(buffer.data())->User.Sid);
}

}  // namespace

std::string ownerOnlyProblem(const std::string& path) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    PACL dacl = nullptr;
    const DWORD got = GetNamedSecurityInfoW(wide(path).c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                            nullptr, nullptr, &dacl, nullptr, &descriptor);
    if (got != ERROR_SUCCESS)
        return "GetNamedSecurityInfo failed: " + std::to_string(got);
    // Exactly two entries, both allowed: the user and SYSTEM, in either order. (Whether the DACL
    // is protected from inheritance is not read: Wine keeps a file's DACL as its Unix mode, and
    // gives it back without that flag.)
    std::string problem;
    if (dacl == nullptr) {
        problem = "no DACL";
    } else {
        std::set<std::string> seen;
        for (DWORD i = 0; i < dacl->AceCount; ++i) {
            ACCESS_ALLOWED_ACE* ace = nullptr;
            if (!GetAce(dacl, i, reinterpret_cast<void**>(&ace)))
                continue;
            seen.insert("[" + std::to_string(ace->Header.AceType) + " " +
                        sidText(reinterpret_cast<PSID>(&ace->SidStart)) + "]");
        }
        const std::set<std::string> wanted = {"[0 " + userSid() + "]", "[0 S-1-5-18]"};
        if (seen != wanted) {
            problem = "entries";
            for (const std::string& e : seen)
                problem += " " + e;
        }
    }
    LocalFree(descriptor);
    return problem;
}

bool makeSymlink(const std::string& link, const std::string& target) {
    // Wine makes a Unix link but may not show it as a reparse point: then it is no link to
    // Windows code, and the test cannot tell refusing one from following one.
    if (!CreateSymbolicLinkW(wide(link).c_str(), wide(target).c_str(), 0))
        return false;
    const DWORD attributes = GetFileAttributesW(wide(link).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

}  // namespace testsupport
