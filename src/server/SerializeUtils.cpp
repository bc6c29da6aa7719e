#include "SerializeUtils.h"

#include <bit>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

// Host and server share one machine; the text is copied as it sits in memory.
static_assert(std::endian::native == std::endian::little, "records are little-endian");

namespace {

constexpr size_t kUnbounded = std::numeric_limits<size_t>::max();
constexpr size_t kCountSize = 8;
constexpr size_t kHandleSize = 8;
constexpr size_t kCodeOffset = 0;
constexpr size_t kTextLengthOffset = 8;

template <typename T>
void store(uint8_t* at, T value) {
    for (size_t i = 0; i < sizeof(T); ++i)
        at[i] = static_cast<uint8_t>(static_cast<uint64_t>(value) >> (8 * i));
}

template <typename T>
T load(const uint8_t* at) {
    uint64_t value = 0;
    for (size_t i = 0; i < sizeof(T); ++i)
        value |= static_cast<uint64_t>(at[i]) << (8 * i);
    return static_cast<T>(value);
}

struct ImageHeader {
    uint32_t width = 0;
    int32_t height = 0;
    uint32_t bitsPerPixel = 0;
};

}  // namespace

const uint8_t* SerializeUtils::readBool(const uint8_t* cursor, bool& value) {
    if (cursor == nullptr)
        return nullptr;
    value = cursor[0] != 0;
    return cursor + 1;
}

uint8_t* SerializeUtils::writeBool(uint8_t* cursor, bool value) {
    if (cursor == nullptr)
        return nullptr;
    cursor[0] = value ? 1 : 0;
    return cursor + 1;
}

const uint8_t* SerializeUtils::readUInt32(const uint8_t* cursor, uint32_t& value) {
    if (cursor == nullptr)
        return nullptr;
    value = load<uint32_t>(cursor);
    return cursor + 4;
}

uint8_t* SerializeUtils::writeUInt32(uint8_t* cursor, uint32_t value) {
    if (cursor == nullptr)
        return nullptr;
    store(cursor, value);
    return cursor + 4;
}

const uint8_t* SerializeUtils::readUInt64(const uint8_t* cursor, uint64_t& value) {
    if (cursor == nullptr)
        return nullptr;
    value = load<uint64_t>(cursor);
    return cursor + 8;
}

uint8_t* SerializeUtils::writeUInt64(uint8_t* cursor, uint64_t value) {
    if (cursor == nullptr)
        return nullptr;
    store(cursor, value);
    return cursor + 8;
}

const uint8_t* SerializeUtils::readWindowList(const uint8_t* cursor, std::vector<uint64_t>& handles) {
    return readWindowList(cursor, kUnbounded, handles);
}

const uint8_t* SerializeUtils::readWindowList(const uint8_t* cursor, size_t available,
                                              std::vector<uint64_t>& handles) {
    if (cursor == nullptr || available < kCountSize)
        return nullptr;
    uint64_t count = 0;
    cursor = readUInt64(cursor, count);
    if (count > (available - kCountSize) / kHandleSize)
        return nullptr;
    std::vector<uint64_t> list;
    try {
        list.reserve(static_cast<size_t>(count));
    } catch (const std::exception&) {
        return nullptr;
    }
    for (uint64_t i = 0; i < count; ++i) {
        list.push_back(load<uint64_t>(cursor));
        cursor += kHandleSize;
    }
    handles.swap(list);
    return cursor;
}

uint8_t* SerializeUtils::writeWindowList(uint8_t* cursor, size_t available,
                                         const std::vector<uint64_t>& handles) {
    if (cursor == nullptr || available < kCountSize)
        return nullptr;
    if (handles.size() > (available - kCountSize) / kHandleSize)
        return nullptr;
    cursor = writeUInt64(cursor, handles.size());
    for (const uint64_t handle : handles)
        cursor = writeUInt64(cursor, handle);
    return cursor;
}

uint64_t SerializeUtils::imageRecordSize(const VXImage* image) {
    if (image == nullptr)
        return 1;
    if (image->getHeight() < 1 || image->getWidth() < 0)
        return kImageHeaderSize;
    return kImageHeaderSize + static_cast<uint64_t>(image->getBytesPerPixel()) *
                                  static_cast<uint64_t>(image->getWidth()) *
                                  static_cast<uint64_t>(image->getHeight());
}

uint8_t* SerializeUtils::writeImage(uint8_t* cursor, const std::shared_ptr<VXImage>& image) {
    return writeImage(cursor, kUnbounded, image);
}

uint8_t* SerializeUtils::writeImage(uint8_t* cursor, size_t available,
                                    const std::shared_ptr<VXImage>& image) {
    if (cursor == nullptr || imageRecordSize(image.get()) > available)
        return nullptr;
    if (!image)
        return writeBool(cursor, false);

    cursor = writeBool(cursor, true);
    cursor = writeUInt32(cursor, static_cast<uint32_t>(image->getWidth()));
    cursor = writeUInt32(cursor, static_cast<uint32_t>(image->getHeight()));
    cursor = writeUInt32(cursor, static_cast<uint32_t>(image->getBitDepth()));
    if (image->getHeight() < 1)
        return cursor;
    if (image->getWidth() < 0)
        return nullptr;

    // Rows go out packed: the image's own stride never reaches the record.
    const size_t rowSize =
        static_cast<size_t>(image->getBytesPerPixel()) * static_cast<size_t>(image->getWidth());
    for (int32_t row = 0; row < image->getHeight(); ++row) {
        const uint8_t* line = image->getLinePtr(row);
        if (line == nullptr)
            return nullptr;
        std::memcpy(cursor, line, rowSize);
        cursor += rowSize;
    }
    return cursor;
}

const uint8_t* SerializeUtils::readImageInto(const uint8_t* cursor, VXImage& image, const VXPoint& position) {
    return readImageInto(cursor, kUnbounded, image, position);
}

const uint8_t* SerializeUtils::readImageInto(const uint8_t* cursor, size_t available, VXImage& image,
                                             const VXPoint& position) {
    if (cursor == nullptr || available < kImageHeaderSize)
        return nullptr;
    bool present = false;
    ImageHeader header;
    cursor = readBool(cursor, present);
    cursor = readUInt32(cursor, header.width);
    uint32_t height = 0;
    cursor = readUInt32(cursor, height);
    header.height = static_cast<int32_t>(height);
    cursor = readUInt32(cursor, header.bitsPerPixel);
    if (!present || image.getBits() == nullptr)
        return nullptr;
    if (header.bitsPerPixel != static_cast<uint32_t>(image.getBitDepth()))
        return nullptr;

    const int64_t x = position.getX();
    const int64_t y = position.getY();
    if (x < 0 || y < 0)
        return nullptr;
    if (image.getWidth() < x + header.width || image.getHeight() < y + header.height)
        return nullptr;

    const size_t rowSize = static_cast<size_t>(image.getBytesPerPixel()) * header.width;
    const int32_t rows = header.height > 0 ? header.height : 0;
    if (rowSize != 0 && static_cast<uint64_t>(rows) > (available - kImageHeaderSize) / rowSize)
        return nullptr;
    for (int32_t row = 0; row < rows; ++row) {
        uint8_t* target = image.getPixelPtr(position.getX(), position.getY() + row);
        if (target == nullptr)
            return nullptr;
        std::memcpy(target, cursor, rowSize);
        cursor += rowSize;
    }
    return cursor;
}

uint8_t* SerializeUtils::writeResult(uint8_t* cursor, const VXResult& result) {
    return writeResult(cursor, kUnbounded, result);
}

uint8_t* SerializeUtils::writeResult(uint8_t* cursor, size_t available, const VXResult& result) {
    if (cursor == nullptr)
        return nullptr;
    const VXString& text = result.message();
    // Asked without a buffer, the copy reports the length with the terminator.
    const uint32_t length = text.copyTo(nullptr, 0);
    if (available < kResultHeaderSize || (available - kResultHeaderSize) / 2 < length)
        return nullptr;
    store(cursor + kCodeOffset, result.code());
    store(cursor + kTextLengthOffset, static_cast<uint64_t>(length));
    // The record's text need not be 2-byte aligned, so the units go in as bytes.
    std::memcpy(cursor + kResultHeaderSize, text.c_str(), static_cast<size_t>(length) * sizeof(char16_t));
    return cursor + kResultHeaderSize + static_cast<size_t>(length) * sizeof(char16_t);
}

const uint8_t* SerializeUtils::readResult(const uint8_t* cursor, size_t available,
                                          Vistrel::ResultRecord& record) {
    if (cursor == nullptr || available < kResultHeaderSize)
        return nullptr;
    const int32_t code = load<int32_t>(cursor + kCodeOffset);
    const uint64_t length = load<uint64_t>(cursor + kTextLengthOffset);
    if (length < 1 || length > (available - kResultHeaderSize) / 2 || length - 1 > VXString::kMaxLength) {
        return nullptr;
    }
    const uint8_t* text = cursor + kResultHeaderSize;
    const size_t units = static_cast<size_t>(length) - 1;
    if (load<uint16_t>(text + units * sizeof(char16_t)) != 0)
        return nullptr;

    VXString decoded;
    if (units > 0) {
        char16_t* buffer = decoded.getWritableBuffer(static_cast<uint32_t>(units));
        if (buffer == nullptr)
            return nullptr;
        std::memcpy(buffer, text, units * sizeof(char16_t));
        decoded.releaseWritableBuffer(static_cast<int32_t>(units));
    }
    record.code = code;
    record.text = std::move(decoded);
    return text + static_cast<size_t>(length) * sizeof(char16_t);
}

uint8_t* SerializeUtils::writeWaitRecord(uint8_t* cursor, const Vistrel::WaitRecord& record) {
    cursor = writeUInt32(cursor, record.iterations);
    cursor = writeUInt32(cursor, record.milliseconds);
    return writeBool(cursor, record.timedOut);
}

const uint8_t* SerializeUtils::readWaitRecord(const uint8_t* cursor, Vistrel::WaitRecord& record) {
    Vistrel::WaitRecord read;
    cursor = readUInt32(cursor, read.iterations);
    cursor = readUInt32(cursor, read.milliseconds);
    cursor = readBool(cursor, read.timedOut);
    if (cursor != nullptr)
        record = read;
    return cursor;
}
