#include "VXPoint.h"

VXString VXPoint::toString() const {
    return vxFormat(u"[%d,%d]", _x, _y);
}
