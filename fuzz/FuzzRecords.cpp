// The request and answer blocks as the other process may have left them: any bytes, read
// with the block-bounded readers the host and the server use.
#include <memory>
#include <vector>

#include "SerializeUtils.h"
#include "VXImage.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A private copy: the readers may only touch what lies inside it.
    const std::vector<uint8_t> block(data, data + size);
    const uint8_t* begin = block.data();
    std::vector<uint64_t> handles;
    SerializeUtils::readWindowList(begin, block.size(), handles);
    Vistrel::ResultRecord result;
    SerializeUtils::readResult(begin, block.size(), result);
    if (block.size() >= SerializeUtils::kWaitRecordSize) {
        Vistrel::WaitRecord wait;
        SerializeUtils::readWaitRecord(begin, wait);
    }
    std::shared_ptr<VXImage> image;
    if (VXImage::create(7, 5, 32, image).isSuccess() && image->allocate().isSuccess()) {
        const VXPoint at(size % 3, size % 2);
        SerializeUtils::readImageInto(begin, block.size(), *image, at);
    }
    return 0;
}
