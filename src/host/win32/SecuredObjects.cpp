#include "SecuredObjects.h"

#include "VXChecks.h"
#include "VistrelExchange.h"

namespace Vistrel {

namespace {

// No-execute-up too: for an event, "execute" is SYNCHRONIZE, so without it a lower-integrity
// process of the same user could wait on the events and take the signals.
constexpr DWORD kLabelPolicy = SYSTEM_MANDATORY_LABEL_NO_WRITE_UP | SYSTEM_MANDATORY_LABEL_NO_READ_UP |
                               SYSTEM_MANDATORY_LABEL_NO_EXECUTE_UP;

// The process token's information of one class, in a buffer of its own.
VXResult tokenInformation(TOKEN_INFORMATION_CLASS kind, std::vector<uint8_t>& buffer) {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token))
        return VX_WIN32_ERROR(u"OpenProcessToken");
    DWORD size = 0;
    GetTokenInformation(token, kind, nullptr, 0, &size);
    buffer.assign(size, 0);
    const BOOL ok = size > 0 && GetTokenInformation(token, kind, buffer.data(), size, &size);
    const DWORD error = GetLastError();
    CloseHandle(token);
    if (!ok)
        return VX_WIN32_ERROR_CODE(u"GetTokenInformation", error);
    return VXError::eNoError;
}

// One descriptor per kind of object: the rights granted are the kind's full access.
class Descriptor {
public:
    VXResult build(DWORD access) {
        VX_RETURN_IF_ERROR(tokenInformation(TokenUser, _user));
        VX_RETURN_IF_ERROR(tokenInformation(TokenIntegrityLevel, _integrity));
        PSID user = reinterpret_cast<TOKEN_USER*>(_user.data())->User.Sid;
        PSID level = reinterpret_cast<TOKEN_MANDATORY_LABEL*>(_integrity.data())->Label.Sid;
        DWORD systemSize = SECURITY_MAX_SID_SIZE;
        _system.assign(systemSize, 0);
        if (!CreateWellKnownSid(WinLocalSystemSid, nullptr, _system.data(), &systemSize))
            return VX_WIN32_ERROR(u"CreateWellKnownSid");

        const DWORD daclSize = sizeof(ACL) + 2 * (sizeof(ACCESS_ALLOWED_ACE) - sizeof(DWORD)) +
                               GetLengthSid(user) + GetLengthSid(_system.data());
        _dacl.assign(daclSize, 0);
        auto* dacl = reinterpret_cast<ACL*>(_dacl.data());
        if (!InitializeAcl(dacl, daclSize, ACL_REVISION))
            return VX_WIN32_ERROR(u"InitializeAcl");
        if (!AddAccessAllowedAce(dacl, ACL_REVISION, access, user) ||
            !AddAccessAllowedAce(dacl, ACL_REVISION, access, _system.data())) {
            return VX_WIN32_ERROR(u"AddAccessAllowedAce");
        }
        const DWORD saclSize =
            sizeof(ACL) + sizeof(SYSTEM_MANDATORY_LABEL_ACE) - sizeof(DWORD) + GetLengthSid(level);
        _sacl.assign(saclSize, 0);
        auto* sacl = reinterpret_cast<ACL*>(_sacl.data());
        if (!InitializeAcl(sacl, saclSize, ACL_REVISION))
            return VX_WIN32_ERROR(u"InitializeAcl");
        if (!AddMandatoryAce(sacl, ACL_REVISION, 0, kLabelPolicy, level))
            return VX_WIN32_ERROR(u"AddMandatoryAce");

        if (!InitializeSecurityDescriptor(&_descriptor, SECURITY_DESCRIPTOR_REVISION))
            return VX_WIN32_ERROR(u"InitializeSecurityDescriptor");
        // The user owns the objects even in an elevated token, whose default owner is a group.
        if (!SetSecurityDescriptorOwner(&_descriptor, user, FALSE))
            return VX_WIN32_ERROR(u"SetSecurityDescriptorOwner");
        if (!SetSecurityDescriptorDacl(&_descriptor, TRUE, dacl, FALSE))
            return VX_WIN32_ERROR(u"SetSecurityDescriptorDacl");
        if (!SetSecurityDescriptorSacl(&_descriptor, TRUE, sacl, FALSE))
            return VX_WIN32_ERROR(u"SetSecurityDescriptorSacl");
        _attributes = {sizeof(SECURITY_ATTRIBUTES), &_descriptor, FALSE};
        return VXError::eNoError;
    }

    SECURITY_ATTRIBUTES* attributes() { return &_attributes; }

private:
    std::vector<uint8_t> _user;
    std::vector<uint8_t> _integrity;
    std::vector<uint8_t> _system;
    std::vector<uint8_t> _dacl;
    std::vector<uint8_t> _sacl;
    SECURITY_DESCRIPTOR _descriptor{};
    SECURITY_ATTRIBUTES _attributes{};
};

// A name that exists answers with its handle and ERROR_ALREADY_EXISTS, or, held by an object of
// another kind or one whose security shuts us out, with no handle: either way it is someone
// else's, and nothing of ours may go into it.
VXResult refuseExisting(HANDLE h, const Params& params, const VXString& name, const char16_t* call) {
    const DWORD error = GetLastError();
    if (h != nullptr && error == ERROR_ALREADY_EXISTS) {
        CloseHandle(h);
        return VX_ERROR(VXError::eExists, u"Identifier \"%s\" is in use: \"%s\" exists already", params.guid,
                        name);
    }
    if (h == nullptr && (error == ERROR_INVALID_HANDLE || error == ERROR_ACCESS_DENIED)) {
        const VXResult cause = VX_WIN32_ERROR_CODE(call, error);
        return VX_RECODE(cause, VXError::eExists, u"Identifier \"%s\" is in use: \"%s\" exists already",
                         params.guid, name);
    }
    if (h == nullptr) {
        VXResult r = VX_WIN32_ERROR_CODE(call, error);
        r.addContext(u"Object name: \"%s\"", name);
        return r;
    }
    return VXError::eNoError;
}

}  // namespace

SecuredObjects::~SecuredObjects() {
    for (HANDLE h : _handles)
        CloseHandle(h);
}

VXResult SecuredObjects::create(const Params& params, std::unique_ptr<SecuredObjects>& objects) {
    Descriptor events;
    VX_RETURN_IF_ERROR(events.build(EVENT_ALL_ACCESS));
    Descriptor sections;
    VX_RETURN_IF_ERROR(sections.build(SECTION_ALL_ACCESS));

    std::unique_ptr<SecuredObjects> made(new SecuredObjects);
    // Auto-reset and not signalled, as the server would make them.
    for (const VXString* name : {&params.eventStartName, &params.eventCompletedName}) {
        HANDLE h = CreateEventW(events.attributes(), FALSE, FALSE, name->wstr());
        VX_RETURN_IF_ERROR(refuseExisting(h, params, *name, u"CreateEvent"));
        made->_handles.push_back(h);
    }
    const struct {
        const VXString& name;
        uint32_t size;
    } blocks[] = {{params.exclWndsName, kExclWndsBlockSize},
                  {params.captureCursorName, kCaptureCursorBlockSize},
                  {params.imageName, imageBlockSize(params.captureRect)},
                  {params.waitResultName, kWaitResultBlockSize},
                  {params.resultName, kResultBlockSize}};
    for (const auto& block : blocks) {
        HANDLE h = CreateFileMappingW(INVALID_HANDLE_VALUE, sections.attributes(), PAGE_READWRITE, 0,
                                      block.size, block.name.wstr());
        VX_RETURN_IF_ERROR(refuseExisting(h, params, block.name, u"CreateFileMapping"));
        made->_handles.push_back(h);
    }
    objects = std::move(made);
    return VXError::eNoError;
}

}  // namespace Vistrel
