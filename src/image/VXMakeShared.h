// vxMakeShared: make_shared that answers an allocation failure with an empty pointer, so
// that creation functions can report 2004 instead of letting an exception escape.
#pragma once

#include <memory>
#include <new>
#include <utility>

template <typename T, typename... Args>
std::shared_ptr<T> vxMakeShared(Args&&... args) noexcept {
    try {
        return std::make_shared<T>(std::forward<Args>(args)...);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
