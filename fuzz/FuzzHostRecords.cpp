// The answer blocks as a host reads them, from any position: a record may start anywhere in
// the block, run into its end, or follow another. Each reader must stay inside what it is
// given, move the cursor no further than the block's end, and write an image only where the
// image has room. Round trips through the writers must give back what was written.
#include <cstring>
#include <memory>
#include <vector>

#include "SerializeUtils.h"
#include "VXImage.h"

namespace {

void checkCursor(const uint8_t* next, const uint8_t* cursor, size_t available) {
    if (next != nullptr && (next < cursor || next > cursor + available))
        __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4)
        return 0;
    const size_t offset = (static_cast<size_t>(data[0]) << 8 | data[1]) % size;
    const int32_t width = 1 + data[2] % 9;
    const VXPoint position(static_cast<int8_t>(data[3]) % 12, static_cast<int8_t>(data[3] >> 4) % 5);
    // A private copy whose end is the block's end: the sanitizer sees any step past it.
    const std::vector<uint8_t> block(data, data + size);
    const uint8_t* cursor = block.data() + offset;
    const size_t available = block.size() - offset;

    Vistrel::ResultRecord result;
    const uint8_t* next = SerializeUtils::readResult(cursor, available, result);
    checkCursor(next, cursor, available);

    std::shared_ptr<VXImage> image;
    if (VXImage::create(width, 7, 32, image).isError() || image->allocate().isError())
        return 0;
    std::memset(image->getBits(), 0xA5, static_cast<size_t>(image->getImageSize()));
    // The image record as the next record after the result, then from the chosen position.
    for (const uint8_t* at : {next, cursor}) {
        if (at == nullptr)
            continue;
        const size_t room = available - static_cast<size_t>(at - cursor);
        const std::vector<uint8_t> before(image->getBits(), image->getBits() + image->getImageSize());
        const uint8_t* after = SerializeUtils::readImageInto(at, room, *image, position);
        checkCursor(after, at, room);
        // A refused record leaves the image as it was.
        if (after == nullptr && std::memcmp(before.data(), image->getBits(), before.size()) != 0)
            __builtin_trap();
        if (after != nullptr && room - static_cast<size_t>(after - at) >= SerializeUtils::kWaitRecordSize) {
            Vistrel::WaitRecord wait;
            checkCursor(SerializeUtils::readWaitRecord(after, wait), after, room);
        }
    }
    std::vector<uint64_t> handles;
    checkCursor(SerializeUtils::readWindowList(cursor, available, handles), cursor, available);

    // What a server writes, the host reads back unchanged.
    if (next != nullptr && result.text.view().find(u'\0') == std::u16string_view::npos) {
        std::vector<uint8_t> copy(available + 64);
        const VXResult again(result.code, u"%s", result.text.c_str());
        uint8_t* end = SerializeUtils::writeResult(copy.data(), copy.size(), again);
        Vistrel::ResultRecord back;
        if (end != nullptr && (SerializeUtils::readResult(copy.data(), copy.size(), back) == nullptr ||
                               back.code != result.code || back.text.view() != result.text.view())) {
            __builtin_trap();
        }
    }
    return 0;
}
