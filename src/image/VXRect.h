// VXRect: left, top, right, bottom with right and bottom exclusive. Never normalised: the
// extent is the absolute difference of the edges, so a swapped rectangle still reports a
// positive width while being empty. Prints as "[left,top,right,bottom]".
#pragma once

#include <cstdint>

#include "VXPoint.h"
#include "VXSize.h"
#include "VXString.h"

class VXRect {
public:
    constexpr VXRect() = default;
    constexpr VXRect(int32_t left, int32_t top, int32_t right, int32_t bottom)
        : _left(left), _top(top), _right(right), _bottom(bottom) {}
    // [0,0,width,height]: the rectangle of an image of that size.
    explicit constexpr VXRect(const VXSize& size) : _right(size.getX()), _bottom(size.getY()) {}
    VXRect(const VXPoint& origin, const VXSize& size);

    constexpr int32_t getLeft() const { return _left; }
    constexpr int32_t getTop() const { return _top; }
    constexpr int32_t getRight() const { return _right; }
    constexpr int32_t getBottom() const { return _bottom; }
    void set(int32_t left, int32_t top, int32_t right, int32_t bottom);

    int32_t getWidth() const;
    int32_t getHeight() const;
    VXSize getSize() const { return VXSize(getWidth(), getHeight()); }
    VXPoint getTopLeft() const { return VXPoint(_left, _top); }

    bool isEmpty() const { return _left >= _right || _top >= _bottom; }
    bool isNotEmpty() const { return !isEmpty(); }
    // Equal edges count as enclosed: a rectangle encloses itself.
    bool isEnclosing(const VXRect& other) const;
    // May be empty; callers test the result with isEmpty().
    VXRect intersect(const VXRect& other) const;
    VXRect offset(const VXPoint& delta) const;

    bool operator==(const VXRect& other) const = default;

    // "[left,top,right,bottom]"
    VXString toString() const;

private:
    int32_t _left = 0;
    int32_t _top = 0;
    int32_t _right = 0;
    int32_t _bottom = 0;
};
