#include "DemoOptions.h"

#include <cwchar>
#include <cwctype>

namespace {

bool sameSwitch(const std::wstring& arg, const wchar_t* name) {
    if (arg.size() != std::wcslen(name)) {
        return false;
    }
    for (size_t i = 0; i < arg.size(); ++i) {
        if (std::towlower(arg[i]) != name[i]) {
            return false;
        }
    }
    return true;
}

bool parseSeconds(const std::wstring& text, unsigned& seconds) {
    if (text.empty() || text.size() > 9) {
        return false;
    }
    unsigned value = 0;
    for (wchar_t c : text) {
        if (c < L'0' || c > L'9') {
            return false;
        }
        value = value * 10 + static_cast<unsigned>(c - L'0');
    }
    seconds = value;
    return true;
}

}  // namespace

bool DemoOptions::parse(const std::vector<std::wstring>& args, DemoOptions& options) {
    // Every switch takes exactly one value.
    if (args.size() % 2 != 0) {
        return false;
    }
    for (size_t i = 0; i < args.size(); i += 2) {
        const std::wstring& name = args[i];
        const std::wstring& value = args[i + 1];
        if (sameSwitch(name, L"/timeout")) {
            if (!parseSeconds(value, options.timeoutSeconds)) {
                return false;
            }
        } else if (sameSwitch(name, L"/quitevent")) {
            options.quitEvent = value;
        } else if (sameSwitch(name, L"/readyfile")) {
            options.readyFile = value;
        } else {
            return false;
        }
    }
    return true;
}
