#include "VXBase64.h"

#include "VXChecks.h"

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr int8_t kInvalid = -1;
constexpr int8_t kSkip = -2;
constexpr int8_t kPad = -3;

struct DecodeTable {
    int8_t value[256];
    constexpr DecodeTable() : value() {
        for (int8_t& v : value)
            v = kInvalid;
        for (int i = 0; i < 64; ++i)
            value[static_cast<uint8_t>(kAlphabet[i])] = static_cast<int8_t>(i);
        value[static_cast<uint8_t>(' ')] = kSkip;
        value[static_cast<uint8_t>('\t')] = kSkip;
        value[static_cast<uint8_t>('\r')] = kSkip;
        value[static_cast<uint8_t>('\n')] = kSkip;
        value[static_cast<uint8_t>('=')] = kPad;
    }
};

constexpr DecodeTable kDecode;

}  // namespace

std::string VXBase64::encode(const uint8_t* data, size_t size) {
    std::string out;
    if (data == nullptr || size == 0)
        return out;
    out.reserve((size + 2) / 3 * 4);
    size_t i = 0;
    for (; i + 3 <= size; i += 3) {
        const uint32_t triple = (uint32_t{data[i]} << 16) | (uint32_t{data[i + 1]} << 8) | data[i + 2];
        out += kAlphabet[(triple >> 18) & 63];
        out += kAlphabet[(triple >> 12) & 63];
        out += kAlphabet[(triple >> 6) & 63];
        out += kAlphabet[triple & 63];
    }
    const size_t rest = size - i;
    if (rest > 0) {
        const uint32_t triple = (uint32_t{data[i]} << 16) | (rest == 2 ? uint32_t{data[i + 1]} << 8 : 0);
        out += kAlphabet[(triple >> 18) & 63];
        out += kAlphabet[(triple >> 12) & 63];
        out += rest == 2 ? kAlphabet[(triple >> 6) & 63] : '=';
        out += '=';
    }
    return out;
}

VXResult VXBase64::decode(std::string_view text, std::vector<uint8_t>& out) {
    std::vector<uint8_t> bytes;
    bytes.reserve(text.size() / 4 * 3);
    uint32_t accumulator = 0;
    int digits = 0;  // data digits of the group being read
    int padding = 0;
    for (size_t position = 0; position < text.size(); ++position) {
        const char c = text[position];
        const int8_t v = kDecode.value[static_cast<uint8_t>(c)];
        if (v == kSkip)
            continue;
        if (v == kInvalid) {
            return VX_ERROR(VXError::eBadFormat, u"Invalid Base64 character 0x%02X at offset %u",
                            static_cast<uint8_t>(c), static_cast<uint32_t>(position));
        }
        if (v == kPad) {
            // Padding only completes a group of two or three digits.
            if (digits < 2 || digits + padding >= 4) {
                return VX_ERROR(VXError::eBadFormat, u"Misplaced Base64 padding at offset %u",
                                static_cast<uint32_t>(position));
            }
            ++padding;
            continue;
        }
        if (padding > 0) {
            return VX_ERROR(VXError::eBadFormat, u"Base64 text continues after padding at offset %u",
                            static_cast<uint32_t>(position));
        }
        accumulator = (accumulator << 6) | static_cast<uint32_t>(v);
        if (++digits == 4) {
            bytes.push_back(static_cast<uint8_t>(accumulator >> 16));
            bytes.push_back(static_cast<uint8_t>(accumulator >> 8));
            bytes.push_back(static_cast<uint8_t>(accumulator));
            digits = 0;
            accumulator = 0;
        }
    }
    if (padding > 0 && digits + padding != 4)
        return VX_ERROR(VXError::eBadFormat, u"Incomplete Base64 padding");
    // An unpadded tail of two or three digits still carries whole bytes; one digit cannot.
    if (digits == 1)
        return VX_ERROR(VXError::eBadFormat, u"Base64 text ends inside a byte");
    if (digits > 1) {
        accumulator <<= 6 * (4 - digits);
        bytes.push_back(static_cast<uint8_t>(accumulator >> 16));
        if (digits == 3)
            bytes.push_back(static_cast<uint8_t>(accumulator >> 8));
    }
    out = std::move(bytes);
    return VXError::eNoError;
}
