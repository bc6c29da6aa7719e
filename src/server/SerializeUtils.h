// SerializeUtils: cursor-style readers and writers of the records exchanged through the
// shared blocks. Every value is little-endian and packed; each call returns the cursor
// moved past what it read or wrote, or null when given null or when it fails, so that a
// record is a chain of calls with one null check at the end. Nothing here logs.
//
// Forms that take `available` (bytes from the cursor to the end of the block) refuse a
// record that would not fit rather than touch memory past the block; the layouts are the
// same either way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "VXImage.h"
#include "VXPoint.h"
#include "VXResult.h"
#include "VistrelRecords.h"

class SerializeUtils {
public:
    static constexpr size_t kImageHeaderSize = 13;
    static constexpr size_t kResultHeaderSize = 16;
    static constexpr size_t kWaitRecordSize = 9;

    static const uint8_t* readBool(const uint8_t* cursor, bool& value);
    static uint8_t* writeBool(uint8_t* cursor, bool value);
    static const uint8_t* readUInt32(const uint8_t* cursor, uint32_t& value);
    static uint8_t* writeUInt32(uint8_t* cursor, uint32_t value);
    static const uint8_t* readUInt64(const uint8_t* cursor, uint64_t& value);
    static uint8_t* writeUInt64(uint8_t* cursor, uint64_t value);

    // Excluded windows: a 64-bit count, then the handles widened to 64 bits. handles is
    // replaced only once the whole list has been read. The first form trusts the count.
    static const uint8_t* readWindowList(const uint8_t* cursor, std::vector<uint64_t>& handles);
    static const uint8_t* readWindowList(const uint8_t* cursor, size_t available,
                                         std::vector<uint64_t>& handles);
    static uint8_t* writeWindowList(uint8_t* cursor, size_t available, const std::vector<uint64_t>& handles);

    // Image record: present byte; when 1, width (u32), height (s32), bits per pixel (u32) and
    // the rows packed without stride. An empty pointer writes the single byte 0.
    static uint8_t* writeImage(uint8_t* cursor, const std::shared_ptr<VXImage>& image);
    static uint8_t* writeImage(uint8_t* cursor, size_t available, const std::shared_ptr<VXImage>& image);
    // Bytes writeImage produces for this image.
    static uint64_t imageRecordSize(const VXImage* image);
    // Copies a record into an existing image at position; the depths must match and the
    // record must lie inside the image.
    static const uint8_t* readImageInto(const uint8_t* cursor, VXImage& image, const VXPoint& position);
    static const uint8_t* readImageInto(const uint8_t* cursor, size_t available, VXImage& image,
                                        const VXPoint& position);

    // Result record: code (s32) at 0, bytes 4 to 7 left as they are, the text length with its
    // terminator (u64) at 8, the UTF-16 text with its terminator at 16.
    static uint8_t* writeResult(uint8_t* cursor, const VXResult& result);
    static uint8_t* writeResult(uint8_t* cursor, size_t available, const VXResult& result);
    static const uint8_t* readResult(const uint8_t* cursor, size_t available, Vistrel::ResultRecord& record);

    // Wait record: iterations (u32), milliseconds (u32), timed-out byte.
    static uint8_t* writeWaitRecord(uint8_t* cursor, const Vistrel::WaitRecord& record);
    static const uint8_t* readWaitRecord(const uint8_t* cursor, Vistrel::WaitRecord& record);
};
