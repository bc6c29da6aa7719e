#include <gtest/gtest.h>

#include <vector>

#include "GrabOptions.h"
#include "support/ResultText.h"

namespace {

struct Case {
    std::vector<const char16_t*> args;
    const char* error;  // the start of the message, or null when the line is accepted
    GrabOptions expected;
};

TEST(GrabOptions, EachOptionIsReadAndEachMalformedOneRefusedWithItsMessage) {
    const Case cases[] = {
        {{u"--rect", u"0,0,1920,1080"}, nullptr, {.rect = VXRect(0, 0, 1920, 1080)}},
        {{u"--rect", u"-10,5,30,40", u"--exclude", u"0x1A2B", u"--exclude", u"77", u"--exclude-title",
          u"Secret panel", u"--cursor", u"--count", u"3", u"--out", u"cap-%d.png", u"--server",
          u"C:\\v\\Vistrel.exe", u"--unit-test"},
         nullptr,
         {.rect = VXRect(-10, 5, 30, 40),
          .excludeHandles = {0x1A2B, 77},
          .excludeTitles = {VXString(u"Secret panel")},
          .cursor = true,
          .count = 3,
          .output = VXString(u"cap-%d.png"),
          .serverPath = VXString(u"C:\\v\\Vistrel.exe"),
          .unitTestMode = true}},
        {{u"/?"}, nullptr, {.help = true}},  // no rectangle needed for help
        {{}, "--rect is required", {}},
        {{u"--rect", u"1,2,3"}, "Bad rectangle \"1,2,3\": want left,top,right,bottom", {}},
        {{u"--rect", u"1,2,3,4x"}, "Bad rectangle \"1,2,3,4x\"", {}},
        {{u"--rect", u"5,5,5,9"}, "Bad rectangle \"5,5,5,9\"", {}},  // empty
        {{u"--rect", u"0,0,1,1", u"--exclude", u"12z"}, "Bad window handle \"12z\"", {}},
        {{u"--rect", u"0,0,1,1", u"--count", u"0"}, "Bad capture count \"0\"", {}},
        {{u"--rect", u"0,0,1,1", u"--count", u"100001"}, "Bad capture count \"100001\"", {}},
        {{u"--rect", u"0,0,1,1", u"--count"}, "Missing value after --count", {}},
        {{u"--rect", u"0,0,1,1", u"--frobnicate", u"x"}, "Unknown option --frobnicate", {}},
    };
    for (const Case& c : cases) {
        std::vector<VXString> args(c.args.begin(), c.args.end());
        SCOPED_TRACE(args.empty() ? "" : args[0].toUtf8());
        GrabOptions options;
        const VXResult r = GrabOptions::parse(args, options);
        if (c.error != nullptr) {
            EXPECT_EQ(r.code(), VXError::eBadParameter) << c.error;
            EXPECT_THAT(text(r), StartsWith(c.error));
        } else {
            EXPECT_TRUE(r.isSuccess()) << text(r);
            EXPECT_TRUE(options == c.expected);
        }
    }
}

}  // namespace
