// Vistrel::SecuredObjects: the seven named objects of one exchange, created by the host before
// the server starts, so that they carry the host's security rather than the server's defaults:
// access for the current user and SYSTEM only, and a mandatory label at the host's own integrity
// level that forbids reading, writing and executing (waiting on) up. The server then opens them
// as they are.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "VXResult.h"
#include "VistrelParams.h"

namespace Vistrel {

class SecuredObjects {
public:
    ~SecuredObjects();
    SecuredObjects(const SecuredObjects&) = delete;
    SecuredObjects& operator=(const SecuredObjects&) = delete;

    // All seven or none. An object that exists already under its name (whoever made it, with
    // whatever security, of whatever kind) is never joined: 2009 (eExists), "Identifier ... is
    // in use"; every other failure ends creation with the system's error.
    static VXResult create(const Params& params, std::unique_ptr<SecuredObjects>& objects);

private:
    SecuredObjects() = default;

    std::vector<HANDLE> _handles;
};

}  // namespace Vistrel
