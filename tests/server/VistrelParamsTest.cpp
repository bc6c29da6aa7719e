#include <gtest/gtest.h>

#include "VistrelExchange.h"
#include "VistrelParams.h"
#include "support/LogCapture.h"

namespace {

using Vistrel::Params;

VXResult createFrom(const char16_t* commandLine, std::shared_ptr<Params>& params) {
    return Params::create(commandLine, Vistrel::kEventStartPrefix, Vistrel::kEventCompletedPrefix,
                          Vistrel::kExclWndsPrefix, Vistrel::kCaptureCursorPrefix, Vistrel::kImagePrefix,
                          Vistrel::kWaitResultPrefix, Vistrel::kResultPrefix, params);
}

TEST(VistrelParams, CommandLinesParseBackToTheirRectangleIdentifierAndMode) {
    const struct {
        VXRect rect;
        const char16_t* guid;
        bool unitTest;
        const char* line;
    } cases[] = {
        {VXRect(0, 0, 1920, 1080), u"1234", true, "\"/cr 0,0,1920,1080\" \"/g 1234\" \"/ut\""},
        {VXRect(-1920, -8, 0, 1072), u"{6F9619FF-8B86}", false,
         "\"/cr -1920,-8,0,1072\" \"/g {6F9619FF-8B86}\""},
    };
    for (const auto& c : cases) {
        VXString line;
        ASSERT_TRUE(Params::makeCommandLine(c.rect, c.guid, c.unitTest, line).isSuccess());
        EXPECT_EQ(text(line), c.line);
        std::shared_ptr<Params> params;
        ASSERT_TRUE(createFrom(line.c_str(), params).isSuccess());
        EXPECT_EQ(params->captureRect, c.rect);
        EXPECT_EQ(params->guid, VXString(c.guid));
        EXPECT_EQ(params->unitTestMode, c.unitTest);
        EXPECT_EQ(params->eventStartName, VXString(u"Start_") + VXString(c.guid));
        EXPECT_EQ(params->imageName, VXString(u"FMO_Image_") + VXString(c.guid));
        EXPECT_EQ(params->resultName, VXString(u"FMO_Result_") + VXString(c.guid));
    }
    VXString line;
    const VXResult r = Params::makeCommandLine(VXRect(), nullptr, false, line);
    EXPECT_EQ(r.code(), VXError::eBadParameter);
    EXPECT_THAT(text(r.message()), HasSubstr("Parameter check \"guid\" failed"));
}

TEST(VistrelParams, RectangleIsReadLikeFourScannedIntegersAndMissingOptionsAreNotFound) {
    const struct {
        const char16_t* line;
        int32_t code;
        VXRect rect;
    } cases[] = {
        {u"\"/cr 1, 2,\t3,4junk\" \"/g a\"", VXError::eNoError, VXRect(1, 2, 3, 4)},
        {u"\"/cr +5,-6,7,8,9\" \"/g a\"", VXError::eNoError, VXRect(5, -6, 7, 8)},
        {u"\"/cr 1,2,3\" \"/g a\"", VXError::eBadFormat, VXRect()},
        {u"\"/cr 1 ,2,3,4\" \"/g a\"", VXError::eBadFormat, VXRect()},
        {u"\"/cr 1,2,3,4\" \"/g\"", VXError::eBadFormat, VXRect()},    // empty guid
        {u"/cr 0,0,1920,1080 /g 1234", VXError::eNotFound, VXRect()},  // unquoted: one key, no cr
        {u"\"/cr 0,0,10,10\" \"/g xxxx\"", VXError::eNotFound, VXRect()},
        {u"\"/g 1234\"", VXError::eNotFound, VXRect()},
    };
    for (const auto& c : cases) {
        std::shared_ptr<Params> params;
        const VXResult r = createFrom(c.line, params);
        EXPECT_EQ(r.code(), c.code) << text(VXString(c.line));
        EXPECT_EQ(params != nullptr, c.code == VXError::eNoError);
        if (params) {
            EXPECT_EQ(params->captureRect, c.rect) << text(params->captureRect.toString());
        } else {
            EXPECT_THAT(text(r.message()),
                        HasSubstr("Error returned at Vistrel::Params::create, vistrelparams.cpp:"));
        }
    }
}

TEST(VistrelParams, AMissingPrefixIsNamed) {
    std::shared_ptr<Params> params;
    const VXResult r =
        Params::create(u"\"/cr 0,0,1,1\" \"/g a\"", u"S", u"C", u"E", u"K", u"I", u"W", nullptr, params);
    EXPECT_THAT(text(r.message()), StartsWith("Parameter check \"fmoResultPrefix\" failed at "));
    EXPECT_FALSE(params);
}

TEST(VistrelExchange, ImageBlockSizeUsesAbsoluteExtentsInThirtyTwoBits) {
    EXPECT_EQ(Vistrel::imageBlockSize(VXRect(1920, 1080, 0, 0)), 1924u * 1080u * 4u + 128u);
    EXPECT_EQ(Vistrel::imageBlockSize(VXRect(-100, -50, 100, 50)), 204u * 100u * 4u + 128u);
    // (65540 x 65536 x 4) wraps to 1 MiB.
    EXPECT_EQ(Vistrel::imageBlockSize(VXRect(0, 0, 65536, 65536)), 1048576u + 128u);
}

}  // namespace
