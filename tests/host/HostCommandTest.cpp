#include <gtest/gtest.h>

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

}  // namespace
