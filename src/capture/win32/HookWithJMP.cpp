#include "HookWithJMP.h"

#include <windows.h>

#include <cstring>

#include "ScopedVirtualProtect.h"
#include "VXChecks.h"

static_assert(sizeof(void*) == 8, "the jump patch is x86-64 code");

namespace {
constexpr uint8_t kMovRaxImm64[] = {0x48, 0xB8};
constexpr uint8_t kJmpRax[] = {0xFF, 0xE0};
}  // namespace

HookWithJMP::Bytes HookWithJMP::makePatch(const void* hookFunc) {
    Bytes patch{};
    const uint64_t address = reinterpret_cast<uint64_t>(hookFunc);
    std::memcpy(patch.data(), kMovRaxImm64, sizeof(kMovRaxImm64));
    for (size_t i = 0; i < sizeof(address); ++i)
        patch[2 + i] = static_cast<uint8_t>(address >> (8 * i));
    std::memcpy(patch.data() + 10, kJmpRax, sizeof(kJmpRax));
    return patch;
}

VXResult HookWithJMP::prepare(void* origFunc, const void* hookFunc) {
    VX_CHECK_PARAM(origFunc);
    VX_CHECK_PARAM(hookFunc);
    _patch = makePatch(hookFunc);
    // Reading needs no write access; the change only makes sure the bytes are readable.
    ScopedVirtualProtect protection;
    VX_RETURN_IF_ERROR(protection.protect(origFunc, kPatchSize, PAGE_EXECUTE_READ));
    std::memcpy(_saved.data(), origFunc, kPatchSize);
    _target = origFunc;
    protection.restore().logIfError(VX_SITE);
    return VXError::eNoError;
}

VXResult HookWithJMP::hook() {
    return write_(_patch);
}

VXResult HookWithJMP::unhook() {
    return write_(_saved);
}

VXResult HookWithJMP::write_(const Bytes& bytes) {
    if (_target == nullptr)
        return VX_ERROR(VXError::ePreconditionFailed, u"Jump hook not prepared");
    ScopedVirtualProtect protection;
    VX_RETURN_IF_ERROR(protection.protect(_target, kPatchSize, PAGE_EXECUTE_READWRITE));
    // Two stores (8 bytes, then 4): the code may not be 8-byte aligned, so they go through
    // memcpy, which compiles to plain unaligned moves on x86-64.
    uint8_t* code = static_cast<uint8_t*>(_target);
    std::memcpy(code, bytes.data(), 8);
    std::memcpy(code + 8, bytes.data() + 8, kPatchSize - 8);
    protection.restore().logIfError(VX_SITE);
    return VXError::eNoError;
}
