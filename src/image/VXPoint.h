// VXPoint: an integer pixel position. Its text form "[x,y]" appears inside the image
// messages, so it is part of what callers rely on.
#pragma once

#include <cstdint>

#include "VXString.h"

class VXPoint {
public:
    constexpr VXPoint() = default;
    constexpr VXPoint(int32_t x, int32_t y) : _x(x), _y(y) {}

    constexpr int32_t getX() const { return _x; }
    constexpr int32_t getY() const { return _y; }
    void setX(int32_t x) { _x = x; }
    void setY(int32_t y) { _y = y; }

    bool operator==(const VXPoint& other) const = default;

    // "[x,y]"
    VXString toString() const;

private:
    int32_t _x = 0;
    int32_t _y = 0;
};
