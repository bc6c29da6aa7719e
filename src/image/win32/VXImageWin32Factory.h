// VXImageWin32Factory: the image factory of the Windows build; every VXImage::create then
// makes an image whose pixels live in a DIB section. Installed by VXImageWin32::installFactory.
#pragma once

#include "VXImageFactory.h"

class VXImageWin32Factory : public VXImageFactory {
public:
    std::shared_ptr<VXImage> createImage(int32_t width, int32_t height, int32_t bitDepth) override;
    std::shared_ptr<VXImage> createImage() override;
};
