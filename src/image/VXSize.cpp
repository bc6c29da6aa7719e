#include "VXSize.h"

VXString VXSize::toString() const {
    return vxFormat(u"[%d,%d]", _x, _y);
}
