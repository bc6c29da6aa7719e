// Diverts a function of this process to a replacement by overwriting its first 12 bytes with
// an absolute jump (mov rax, imm64; jmp rax). The overwritten bytes are kept so the original
// can be restored, or run by unhooking, calling and hooking again. x86-64 only; there is no
// trampoline, so the replacement must have the target's exact signature.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "VXResult.h"

class HookWithJMP {
public:
    static constexpr size_t kPatchSize = 12;
    using Bytes = std::array<uint8_t, kPatchSize>;

    // Saves the target's first bytes and builds the patch; writes nothing into the target.
    // Must not be called while hooked: it would save the patch in place of the original.
    VXResult prepare(void* origFunc, const void* hookFunc);
    VXResult hook();
    VXResult unhook();

    void* target() const { return _target; }
    const Bytes& savedBytes() const { return _saved; }
    const Bytes& patchBytes() const { return _patch; }

    // 48 B8 <address, little-endian> FF E0.
    static Bytes makePatch(const void* hookFunc);

private:
    VXResult write_(const Bytes& bytes);

    Bytes _saved{};
    Bytes _patch{};
    void* _target = nullptr;
};
