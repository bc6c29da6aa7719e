#include <gtest/gtest.h>

#include <cstdint>
#include <set>

#include "VistrelHostCommand.h"

namespace {

TEST(HostCommand, ProgramIsQuotedBeforeTheOptionsAndWhatWouldBreakTheLineIsRefused) {
    VXString line;
    ASSERT_TRUE(Vistrel::HostCommand::build(u"C:\\Program Files\\Vistrel\\Vistrel.exe",
                                            VXRect(-10, 0, 1910, 1080), u"{ABC}", false, line)
                    .isSuccess());
    EXPECT_EQ(line.toUtf8(),
              "\"C:\\Program Files\\Vistrel\\Vistrel.exe\" \"/cr -10,0,1910,1080\" \"/g {ABC}\"");

    line = u"unchanged";
    EXPECT_EQ(Vistrel::HostCommand::build(u"", VXRect(0, 0, 1, 1), u"g", false, line).code(), 2005);
    EXPECT_EQ(Vistrel::HostCommand::build(u"a\"b.exe", VXRect(0, 0, 1, 1), u"g", false, line).code(), 2005);
    EXPECT_EQ(Vistrel::HostCommand::build(u"v.exe", VXRect(0, 0, 1, 1), u"", false, line).code(), 2005);
    EXPECT_EQ(line.toUtf8(), "unchanged");
}

TEST(HostCommand, FreshIdentifiersDifferAndHaveTheGuidShape) {
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        VXString guid;
        ASSERT_TRUE(Vistrel::HostCommand::newGuid(guid).isSuccess());
        const std::string g = guid.toUtf8();
        EXPECT_TRUE(g.size() == 38 && g.front() == '{' && g[9] == '-' && g[24] == '-' && g.back() == '}' &&
                    g.find_first_not_of("{}-0123456789ABCDEF") == std::string::npos)
            << g;
        seen.insert(g);
    }
    EXPECT_EQ(seen.size(), 100u);
}

TEST(HostCommand, RectanglesWhoseImageBlockWouldNotFitIn32BitsAreRefused) {
    // The block is (width + 4) x height x 4 plus 128 bytes of slack.
    const struct {
        VXRect rect;
        bool accepted;
    } cases[] = {
        {VXRect(0, 0, 1, 1), true},
        {VXRect(-1920, 0, 1920, 1080), true},
        {VXRect(0, 0, 65532, 16383), true},   // 4 293 656 704 bytes
        {VXRect(0, 0, 65532, 16384), false},  // exactly 2^32 + 128
        {VXRect(0, 0, 70000, 70000), false},  // 19.6 GB, wraps to 2.4 GB in 32 bits
        {VXRect(INT32_MIN, 0, INT32_MAX, 1), false},
        {VXRect(0, 0, 0, 10), false},
        {VXRect(5, 5, 4, 10), false},
    };
    for (const auto& c : cases) {
        const VXResult r = Vistrel::HostCommand::checkRect(c.rect);
        EXPECT_EQ(r.isSuccess(), c.accepted) << c.rect.toString().toUtf8();
        if (!c.accepted) {
            EXPECT_EQ(r.code(), 2005) << c.rect.toString().toUtf8();
        }
    }
}

}  // namespace
