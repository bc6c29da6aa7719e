// VXSize: an integer width and height, read through getX() (width) and getY() (height).
// Valid for sizing only when both are above 0; that is for the users to check.
#pragma once

#include <cstdint>

#include "VXString.h"

class VXSize {
public:
    constexpr VXSize() = default;
    constexpr VXSize(int32_t width, int32_t height) : _x(width), _y(height) {}

    constexpr int32_t getX() const { return _x; }
    constexpr int32_t getY() const { return _y; }
    void setX(int32_t width) { _x = width; }
    void setY(int32_t height) { _y = height; }

    bool operator==(const VXSize& other) const = default;

    // "[width,height]"
    VXString toString() const;

private:
    int32_t _x = 0;
    int32_t _y = 0;
};
