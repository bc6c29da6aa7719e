#include "VXRect.h"

#include <algorithm>

namespace {

// Edge sums and differences wrap like the 32-bit arithmetic they stand for instead of
// overflowing a signed int.
int32_t wrap(int64_t value) {
    return static_cast<int32_t>(static_cast<uint32_t>(value));
}

int32_t distance(int32_t a, int32_t b) {
    const int64_t d = static_cast<int64_t>(b) - a;
    return wrap(d < 0 ? -d : d);
}

}  // namespace

VXRect::VXRect(const VXPoint& origin, const VXSize& size)
    : _left(origin.getX()),
      _top(origin.getY()),
      _right(wrap(static_cast<int64_t>(origin.getX()) + size.getX())),
      _bottom(wrap(static_cast<int64_t>(origin.getY()) + size.getY())) {}

void VXRect::set(int32_t left, int32_t top, int32_t right, int32_t bottom) {
    _left = left;
    _top = top;
    _right = right;
    _bottom = bottom;
}

int32_t VXRect::getWidth() const {
    return distance(_left, _right);
}

int32_t VXRect::getHeight() const {
    return distance(_top, _bottom);
}

bool VXRect::isEnclosing(const VXRect& other) const {
    return _left <= other._left && _top <= other._top && _right >= other._right && _bottom >= other._bottom;
}

VXRect VXRect::intersect(const VXRect& other) const {
    return VXRect(std::max(_left, other._left), std::max(_top, other._top), std::min(_right, other._right),
                  std::min(_bottom, other._bottom));
}

VXRect VXRect::offset(const VXPoint& delta) const {
    return VXRect(wrap(static_cast<int64_t>(_left) + delta.getX()),
                  wrap(static_cast<int64_t>(_top) + delta.getY()),
                  wrap(static_cast<int64_t>(_right) + delta.getX()),
                  wrap(static_cast<int64_t>(_bottom) + delta.getY()));
}

VXString VXRect::toString() const {
    return vxFormat(u"[%d,%d,%d,%d]", _left, _top, _right, _bottom);
}
