// Owns one COM interface pointer: Release when destroyed or reassigned, AddRef on copy-in.
// Reaching through an empty holder is a programming error and raises the fatal-precondition
// exception after the assertion is logged.
#pragma once

#include <utility>

#include "VXChecks.h"
#include "VXPlatform.h"

template <typename T>
class C_ComPtr {
public:
    C_ComPtr() = default;
    // Takes a share of `p` (AddRef).
    explicit C_ComPtr(T* p) { assign(p); }
    C_ComPtr(const C_ComPtr& other) { assign(other._p); }
    C_ComPtr(C_ComPtr&& other) noexcept : _p(std::exchange(other._p, nullptr)) {}
    ~C_ComPtr() { reset(); }

    // Safe for self-assignment: assign takes the new share before dropping the old one.
    C_ComPtr& operator=(const C_ComPtr& other) {  // NOLINT(bugprone-unhandled-self-assignment)
        assign(other._p);
        return *this;
    }
    C_ComPtr& operator=(C_ComPtr&& other) noexcept {
        if (this != &other) {
            reset();
            _p = std::exchange(other._p, nullptr);
        }
        return *this;
    }

    // Copy-in: AddRef the incoming pointer before releasing the old one, so that assigning
    // the held pointer to itself keeps it alive.
    void assign(T* p) {
        if (p != nullptr)
            p->AddRef();
        T* old = std::exchange(_p, p);
        if (old != nullptr)
            old->Release();
    }
    // Takes over a reference the caller already owns (no AddRef).
    void attach(T* p) {
        T* old = std::exchange(_p, p);
        if (old != nullptr)
            old->Release();
    }
    // Hands the reference to the caller.
    T* detach() { return std::exchange(_p, nullptr); }
    void reset() { attach(nullptr); }
    // For out-parameters of creation calls: releases what is held and gives the slot.
    T** put() {
        reset();
        return &_p;
    }

    T* get() const { return _p; }
    explicit operator bool() const { return _p != nullptr; }
    T* operator->() const {
        if (_p == nullptr) {
            VX_ASSERT_MSG(_p != nullptr, u"C_ComPtr used while empty");
            VXPlatform::raiseFatalPrecondition();
        }
        return _p;
    }

private:
    T* _p = nullptr;
};
