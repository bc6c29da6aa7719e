#include "VXImageWin32Factory.h"

#include "VXImageWin32.h"
#include "VXMakeShared.h"

std::shared_ptr<VXImage> VXImageWin32Factory::createImage(int32_t width, int32_t height, int32_t bitDepth) {
    return vxMakeShared<VXImageWin32>(width, height, bitDepth);
}

std::shared_ptr<VXImage> VXImageWin32Factory::createImage() {
    return vxMakeShared<VXImageWin32>();
}
