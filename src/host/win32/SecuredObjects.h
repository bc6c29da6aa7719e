// Vistrel::SecuredObjects: the seven named objects of one exchange, created by the host before
// the server starts, so that they carry the host's security rather than the server's defaults:
// access for the current user and SYSTEM only, and a mandatory label at the host's own integrity
// level that forbids reading up and writing up. The server then opens them as they are.
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

    // An object that exists already under its name is joined as it is, with its own security
    // (joined() then says so); every other failure ends creation.
    static VXResult create(const Params& params, std::unique_ptr<SecuredObjects>& objects);

    uint32_t joined() const { return _joined; }

private:
    SecuredObjects() = default;

    std::vector<HANDLE> _handles;
    uint32_t _joined = 0;
};

}  // namespace Vistrel
