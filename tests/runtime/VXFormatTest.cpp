#include <gtest/gtest.h>

#include "VXString.h"

namespace {

template <typename... Args>
std::string fmt(const char16_t* f, const Args&... args) {
    return vxFormat(f, args...).toUtf8();
}

TEST(VXFormat, TextConversions) {
    VXString name(u"Start_1234");
    EXPECT_EQ(fmt(u"Event \"%s\"", name), "Event \"Start_1234\"");
    EXPECT_EQ(fmt(u"%s|%hs", u"wide", "narrow"), "wide|narrow");
    EXPECT_EQ(fmt(u"[%5s][%-5s][%.2s]", u"ab", u"ab", u"abcdef"), "[   ab][ab   ][ab]");
    EXPECT_EQ(fmt(u"%s", static_cast<const char16_t*>(nullptr)), "(null)");
    EXPECT_EQ(fmt(u"100%%"), "100%");
}

TEST(VXFormat, IntegerConversionsMatchPrintf) {
    EXPECT_EQ(fmt(u"%d %u %i", -5, 7u, 12), "-5 7 12");
    EXPECT_EQ(fmt(u"%x %X %#X %#x %08X", 255, 255, 255, 0, 0x1A2Bu), "ff FF 0XFF 0 00001A2B");
    EXPECT_EQ(fmt(u"%x %u", -1, -1), "ffffffff 4294967295");  // a 32-bit int stays 32 bits
    EXPECT_EQ(fmt(u"%#X %d", 0x80070057u, 0x80070057u), "0X80070057 -2147024809");
    EXPECT_EQ(fmt(u"%llX %lld", 0x123456789ABCull, -9000000000LL), "123456789ABC -9000000000");
    EXPECT_EQ(fmt(u"%5d|%-5d|%05d|%+d|%.3d", 42, 42, -42, 42, 7), "   42|42   |-0042|+42|007");
}

TEST(VXFormat, PointerFloatingPointAndBadArguments) {
    EXPECT_EQ(fmt(u"%p", reinterpret_cast<void*>(0x12FF00)), "000000000012FF00");
    EXPECT_EQ(fmt(u"%.*g", 3, 0.1), "0.1");
    EXPECT_EQ(fmt(u"%.2f", 3.14159), "3.14");

    EXPECT_EQ(fmt(u"%d %s"), " ");
    EXPECT_EQ(fmt(u"%s", 5), "(bad arg)");
    EXPECT_EQ(fmt(u"%y %d", 3), "%y 3");
    VXString s(u"keep");
    EXPECT_FALSE(s.format(nullptr));
    EXPECT_EQ(s.toUtf8(), "keep");
}

TEST(VXFormat, OutputIsCutAtTheStringLimit) {
    const VXString big(u'z', 40000);
    EXPECT_EQ(vxFormat(u"%s%s", big, big).length(), VXString::kMaxLength);
}

}  // namespace
