#include "VXColorInfo.h"

#include <array>
#include <cstring>
#include <new>

#include "VXChecks.h"
#include "VXMakeShared.h"
#include "VXSystemPalette.h"

namespace {

constexpr const char16_t* kDumpRule = u"-------------------------------------------";
constexpr int32_t kPaletteDepth = 8;
constexpr uint32_t kPaletteAllMask = 0xFF;

constexpr uint32_t rgb(uint32_t r, uint32_t g, uint32_t b) {
    return (r << 16) | (g << 8) | b;
}

constexpr uint32_t kStandard16[16] = {
    rgb(0, 0, 0),       rgb(128, 0, 0),   rgb(0, 128, 0),   rgb(128, 128, 0),
    rgb(0, 0, 128),     rgb(128, 0, 128), rgb(0, 128, 128), rgb(128, 128, 128),
    rgb(192, 192, 192), rgb(255, 0, 0),   rgb(0, 255, 0),   rgb(255, 255, 0),
    rgb(0, 0, 255),     rgb(255, 0, 255), rgb(0, 255, 255), rgb(255, 255, 255)};

constexpr uint32_t kFixedHead[20] = {
    rgb(0, 0, 0),     rgb(128, 0, 0),     rgb(0, 128, 0),     rgb(128, 128, 0),   rgb(0, 0, 128),
    rgb(128, 0, 128), rgb(0, 128, 128),   rgb(192, 192, 192), rgb(192, 220, 192), rgb(166, 202, 240),
    rgb(255, 0, 0),   rgb(0, 255, 0),     rgb(0, 0, 255),     rgb(255, 255, 0),   rgb(255, 0, 255),
    rgb(0, 255, 255), rgb(235, 235, 235), rgb(224, 224, 224), rgb(214, 214, 214), rgb(192, 192, 192)};

constexpr uint32_t kFixedTail[20] = {
    rgb(224, 128, 0),   rgb(0, 128, 0),     rgb(0, 192, 0),     rgb(32, 192, 0),  rgb(64, 192, 0),
    rgb(96, 192, 0),    rgb(128, 192, 0),   rgb(160, 192, 0),   rgb(192, 192, 0), rgb(224, 192, 0),
    rgb(255, 251, 240), rgb(160, 160, 164), rgb(128, 128, 128), rgb(255, 0, 0),   rgb(0, 255, 0),
    rgb(255, 255, 0),   rgb(0, 0, 255),     rgb(255, 0, 255),   rgb(0, 255, 255), rgb(255, 255, 255)};

constexpr std::array<uint32_t, 256> makeFixedPalette() {
    std::array<uint32_t, 256> palette{};
    for (int i = 0; i < 20; ++i)
        palette[i] = kFixedHead[i];
    // The 6 x 6 x 6 cube, red slowest and blue fastest.
    int index = 20;
    for (uint32_t r = 0; r < 6; ++r) {
        for (uint32_t g = 0; g < 6; ++g) {
            for (uint32_t b = 0; b < 6; ++b)
                palette[index++] = rgb(r * 51, g * 51, b * 51);
        }
    }
    for (int i = 0; i < 20; ++i)
        palette[236 + i] = kFixedTail[i];
    return palette;
}

constexpr std::array<uint32_t, 256> kFixedPalette = makeFixedPalette();

int32_t trailingZeros(uint32_t mask) {
    if (mask == 0)
        return 0;
    int32_t shift = 0;
    while ((mask & 1u) == 0) {
        mask >>= 1;
        ++shift;
    }
    return shift;
}

// Expands a channel of (mask >> shift) + 1 levels to 8 bits at outputShift. The step is
// summed in single precision rather than multiplied, and the drift that brings is part of
// the table every converter reads.
std::unique_ptr<uint32_t[]> buildChannelTable(uint32_t mask, int32_t shift, int32_t outputShift) {
    const uint32_t levels = mask >> shift;
    std::unique_ptr<uint32_t[]> table(new (std::nothrow) uint32_t[static_cast<size_t>(levels) + 1]);
    if (!table)
        return table;
    const float step = 255.0f / static_cast<float>(levels);
    float accumulator = 0.0f;
    for (uint32_t i = 0; i < levels; ++i) {
        table[i] = static_cast<uint32_t>(accumulator) << outputShift;
        accumulator += step;
    }
    table[levels] = 255u << outputShift;
    return table;
}

}  // namespace

VXColorInfo::VXColorInfo() = default;

VXColorInfo::VXColorInfo(uint8_t bitsPerPixel, uint32_t redMask, uint32_t greenMask, uint32_t blueMask,
                         uint32_t allMask)
    : _bitsPerPixel(bitsPerPixel) {
    applyMasks_(redMask, greenMask, blueMask, allMask).logIfError(VX_SITE);
    if (_bitsPerPixel < 24) {
        VX_LOG_DEBUG(u"VXColorInfo() masks: [0x%8X][0x%8X][0x%8X]", _redMask, _greenMask, _blueMask);
    }
}

VXColorInfo::~VXColorInfo() = default;

VXResult VXColorInfo::initialize(int32_t bitsPerPixel) {
    _bitsPerPixel = bitsPerPixel;
    switch (bitsPerPixel) {
        case 1:
        case 4:
        case 8:
            _allMask = (1u << bitsPerPixel) - 1;
            break;
        case 16:
            _redMask = 0xF800;
            _greenMask = 0x07E0;
            _blueMask = 0x001F;
            _allMask = 0xFFFF;
            _channelDepth = 16;
            break;
        case 24:
        case 32:
            _redMask = 0xFF0000;
            _greenMask = 0x00FF00;
            _blueMask = 0x0000FF;
            _allMask = 0xFFFFFF;
            _channelDepth = bitsPerPixel;
            break;
        default:
            return VX_ERROR(VXError::eBadParameter, u"%s -- unsupported BPP[%d]",
                            u"VXColorInfo::initialize()", bitsPerPixel);
    }
    VX_RETURN_IF_ERROR(computeShifts());
    VX_RETURN_IF_ERROR(buildLookupTables_());
    VX_RETURN_IF_ERROR(loadSystemColorTable());
    return VXError::eNoError;
}

VXResult VXColorInfo::update() {
    return VXError::eNoError;
}

VXResult VXColorInfo::setMasks(uint32_t redMask, uint32_t greenMask, uint32_t blueMask, uint32_t allMask) {
    VX_RETURN_IF_ERROR(applyMasks_(redMask, greenMask, blueMask, allMask));
    return VXError::eNoError;
}

VXResult VXColorInfo::applyMasks_(uint32_t redMask, uint32_t greenMask, uint32_t blueMask, uint32_t allMask) {
    // The lookup tables have an entry for every value a mask can hold: a mask wider than the
    // pixel would ask for up to 2^32 of them.
    if (_bitsPerPixel == 15 || _bitsPerPixel == 16) {
        const uint32_t outside = ~((1u << _bitsPerPixel) - 1);
        if (((redMask | greenMask | blueMask) & outside) != 0) {
            return VX_ERROR(VXError::eBadParameter, u"%s -- masks wider than %d bits [0x%X][0x%X][0x%X]",
                            u"VXColorInfo::setMasks()", _bitsPerPixel, redMask, greenMask, blueMask);
        }
    }
    _redMask = redMask;
    _greenMask = greenMask;
    _blueMask = blueMask;
    _allMask = allMask != 0 ? allMask : (redMask | greenMask | blueMask);
    computeShifts();
    return buildLookupTables_();
}

VXResult VXColorInfo::setColorTable(const uint32_t* entries, int32_t count) {
    if (entries == nullptr || count < 1 || count > kColorTableSize) {
        VX_LOG_ERROR(u"VXColorInfo::setColorTable() bad parameter [%p %d]", entries, count);
        return VX_ERROR(VXError::eBadParameter, u"Error returned");
    }
    setPalette_(entries, count);
    return VXError::eNoError;
}

VXResult VXColorInfo::computeShifts() {
    if (_bitsPerPixel > 8) {
        _redShift = trailingZeros(_redMask);
        _greenShift = trailingZeros(_greenMask);
        _blueShift = trailingZeros(_blueMask);
    }
    return VXError::eNoError;
}

VXResult VXColorInfo::loadSystemColorTable() {
    if (_bitsPerPixel != 4 && _bitsPerPixel != 8)
        return VXError::eNoError;
    VX_RETURN_IF_ERROR(VXPlatformUtils::getSystemColorTable(_colorTable, sizeof(_colorTable)));
    return VXError::eNoError;
}

void VXColorInfo::setFixedPalette() {
    _bitsPerPixel = kPaletteDepth;
    _channelDepth = kPaletteDepth;
    _allMask = kPaletteAllMask;
    setPalette_(kFixedPalette.data(), kColorTableSize);
}

const uint32_t* VXColorInfo::fixedPalette() {
    return kFixedPalette.data();
}

std::shared_ptr<VXColorInfo> VXColorInfo::createStandard16ColorInfo() {
    std::shared_ptr<VXColorInfo> info = vxMakeShared<VXColorInfo>();
    if (!info)
        return info;
    info->_bitsPerPixel = kPaletteDepth;
    info->_channelDepth = kPaletteDepth;
    info->_allMask = kPaletteAllMask;
    info->setPalette_(kStandard16, 16);
    return info;
}

std::shared_ptr<VXColorInfo> VXColorInfo::createFixed256ColorInfo() {
    std::shared_ptr<VXColorInfo> info = vxMakeShared<VXColorInfo>();
    if (info)
        info->setFixedPalette();
    return info;
}

void VXColorInfo::dump(const VXString& label) const {
    if (_bitsPerPixel < 0 || _bitsPerPixel > 8)
        return;
    VX_LOG_INFO(kDumpRule);
    VX_LOG_INFO(u"  [%s] bitsPerPixel[%d]", label, _bitsPerPixel);
    const int32_t entries = 1 << _bitsPerPixel;
    for (int32_t i = 0; i < entries; ++i)
        VX_LOG_INFO(u"  [%d][0x%6X]", i, _colorTable[i]);
}

VXResult VXColorInfo::buildLookupTables_() {
    // Tables of an earlier depth would be read with this depth's masks, far past their end.
    _redTable.reset();
    _greenTable.reset();
    _blueTable.reset();
    if (_bitsPerPixel != 15 && _bitsPerPixel != 16)
        return VXError::eNoError;
    _redTable = buildChannelTable(_redMask, _redShift, 16);
    _greenTable = buildChannelTable(_greenMask, _greenShift, 8);
    _blueTable = buildChannelTable(_blueMask, _blueShift, 0);
    if (!_redTable || !_greenTable || !_blueTable)
        return VX_ERROR(VXError::eNoMemory, u"Error returned");
    return VXError::eNoError;
}

void VXColorInfo::setPalette_(const uint32_t* entries, int32_t count) {
    std::memcpy(_colorTable, entries, static_cast<size_t>(count) * sizeof(uint32_t));
}
