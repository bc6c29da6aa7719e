// Sets an environment variable for the lifetime of the object. Processes started meanwhile
// inherit it, and the magnifier stand-in reads its switches from it at every render.
#pragma once

#include <windows.h>

#include <string>

namespace testsupport {

class ScopedEnvironment {
public:
    ScopedEnvironment(const wchar_t* name, const wchar_t* value) : _name(name) {
        SetEnvironmentVariableW(name, value);
    }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
    ~ScopedEnvironment() { SetEnvironmentVariableW(_name.c_str(), nullptr); }

private:
    std::wstring _name;
};

}  // namespace testsupport
