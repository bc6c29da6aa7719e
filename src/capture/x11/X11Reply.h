// Owners for what libxcb hands out with malloc: replies, errors and events. The holder frees
// it with free() when it goes; single-threaded like the memory it holds.
#pragma once

#include <cstdlib>
#include <memory>

struct X11Free {
    void operator()(void* pointer) const { std::free(pointer); }
};

template <typename T>
using X11Reply = std::unique_ptr<T, X11Free>;
