#include <gtest/gtest.h>

#include <vector>

#include "GrabOptions.h"
#include "support/ResultText.h"

namespace {

struct Case {
    std::vector<const wchar_t*> args;
    const char* error;  // the start of the message, or null when the line is accepted
    GrabOptions expected;
};

TEST(GrabOptions, EachOptionIsReadAndEachMalformedOneRefusedWithItsMessage) {
    const Case cases[] = {
        {{L"--rect", L"0,0,1920,1080"}, nullptr, {.rect = VXRect(0, 0, 1920, 1080)}},
        {{L"--rect", L"-10,5,30,40", L"--exclude", L"0x1A2B", L"--exclude", L"77", L"--exclude-title",
          L"Secret panel", L"--cursor", L"--count", L"3", L"--out", L"cap-%d.png", L"--server",
          L"C:\\v\\Vistrel.exe", L"--unit-test"},
         nullptr,
         {.rect = VXRect(-10, 5, 30, 40),
          .excludeHandles = {0x1A2B, 77},
          .excludeTitles = {VXString(u"Secret panel")},
          .cursor = true,
          .count = 3,
          .output = VXString(u"cap-%d.png"),
          .serverPath = VXString(u"C:\\v\\Vistrel.exe"),
          .unitTestMode = true}},
        {{L"/?"}, nullptr, {.help = true}},  // no rectangle needed for help
        {{}, "--rect is required", {}},
        {{L"--rect", L"1,2,3"}, "Bad rectangle \"1,2,3\": want left,top,right,bottom", {}},
        {{L"--rect", L"1,2,3,4x"}, "Bad rectangle \"1,2,3,4x\"", {}},
        {{L"--rect", L"5,5,5,9"}, "Bad rectangle \"5,5,5,9\"", {}},  // empty
        {{L"--rect", L"0,0,1,1", L"--exclude", L"12z"}, "Bad window handle \"12z\"", {}},
        {{L"--rect", L"0,0,1,1", L"--count", L"0"}, "Bad capture count \"0\"", {}},
        {{L"--rect", L"0,0,1,1", L"--count", L"100001"}, "Bad capture count \"100001\"", {}},
        {{L"--rect", L"0,0,1,1", L"--count"}, "Missing value after --count", {}},
        {{L"--rect", L"0,0,1,1", L"--frobnicate", L"x"}, "Unknown option --frobnicate", {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args.empty() ? "" : VXString::fromWide(c.args[0]).toUtf8());
        GrabOptions options;
        const VXResult r = GrabOptions::parse(static_cast<int>(c.args.size()), c.args.data(), options);
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
