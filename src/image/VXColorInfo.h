// VXColorInfo: how pixel values of an image map to colours: bit depth, channel masks and
// shifts, a 256-entry colour table for palette depths and the lookup tables that expand
// the 5- and 6-bit channels of 16-bit pixels to 8 bits. Images share one by reference.
#pragma once

#include <cstdint>
#include <memory>

#include "VXResult.h"
#include "VXString.h"

class VXColorInfo {
public:
    static constexpr int32_t kColorTableSize = 256;

    VXColorInfo();
    // An all-channels mask of 0 stands for red | green | blue.
    VXColorInfo(uint8_t bitsPerPixel, uint32_t redMask, uint32_t greenMask, uint32_t blueMask,
                uint32_t allMask);
    virtual ~VXColorInfo();
    VXColorInfo(const VXColorInfo&) = delete;
    VXColorInfo& operator=(const VXColorInfo&) = delete;

    // Standard masks for 1, 4, 8, 16 (5-6-5), 24 and 32 bits; 4 and 8 bits take the system
    // palette. Any other depth is 2005, but the depth is stored first.
    virtual VXResult initialize(int32_t bitsPerPixel);
    // Nothing to bring up to date in the plain colour info.
    virtual VXResult update();

    // 2005 for a 15- or 16-bit colour info given a mask with bits above its depth (its lookup
    // table would need up to 2^32 entries); the masks and tables stay as they were then. The
    // constructor logs the same refusal and leaves the tables null.
    VXResult setMasks(uint32_t redMask, uint32_t greenMask, uint32_t blueMask, uint32_t allMask);
    // Copies 1..256 entries to the start of the table; later entries keep their values.
    VXResult setColorTable(const uint32_t* entries, int32_t count);
    VXResult computeShifts();
    VXResult loadSystemColorTable();
    void setFixedPalette();

    static std::shared_ptr<VXColorInfo> createStandard16ColorInfo();
    static std::shared_ptr<VXColorInfo> createFixed256ColorInfo();
    // The fixed 256-colour palette as 0x00RRGGBB.
    static const uint32_t* fixedPalette();

    // Logs the colour table of a palette depth; other depths write nothing.
    void dump(const VXString& label) const;

    uint32_t getRedMask() const { return _redMask; }
    uint32_t getGreenMask() const { return _greenMask; }
    uint32_t getBlueMask() const { return _blueMask; }
    uint32_t getAllMask() const { return _allMask; }
    int32_t getRedShift() const { return _redShift; }
    int32_t getGreenShift() const { return _greenShift; }
    int32_t getBlueShift() const { return _blueShift; }
    int32_t getBitsPerPixel() const { return _bitsPerPixel; }
    int32_t getChannelDepth() const { return _channelDepth; }
    const uint32_t* getRedTable() const { return _redTable.get(); }
    const uint32_t* getGreenTable() const { return _greenTable.get(); }
    const uint32_t* getBlueTable() const { return _blueTable.get(); }
    const uint32_t* getColorTable() const { return _colorTable; }

private:
    VXResult applyMasks_(uint32_t redMask, uint32_t greenMask, uint32_t blueMask, uint32_t allMask);
    VXResult buildLookupTables_();
    void setPalette_(const uint32_t* entries, int32_t count);

    uint32_t _redMask = 0;
    uint32_t _greenMask = 0;
    uint32_t _blueMask = 0;
    uint32_t _allMask = 0;
    int32_t _redShift = 0;
    int32_t _greenShift = 0;
    int32_t _blueShift = 0;
    int32_t _bitsPerPixel = 0;
    int32_t _channelDepth = 0;
    std::unique_ptr<uint32_t[]> _redTable;
    std::unique_ptr<uint32_t[]> _greenTable;
    std::unique_ptr<uint32_t[]> _blueTable;
    uint32_t _colorTable[kColorTableSize] = {};
};
