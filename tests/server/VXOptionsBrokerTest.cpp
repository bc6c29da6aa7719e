#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "VXOptionsBroker.h"
#include "support/LogCapture.h"

namespace {

// The value of key, or "<absent>".
std::string value(const VXOptionsBroker& broker, const char16_t* key) {
    VXString out(u"<absent>");
    broker.getOptions().getString(key, out);
    return text(out);
}

TEST(VXOptionsBroker, EachLineGivesExactlyItsOptions) {
    const struct {
        const char16_t* line;
        std::vector<std::pair<const char16_t*, const char*>> options;
    } cases[] = {
        // Quoted options lose their slash.
        {u"\"/cr 0,0,640,480\" \"/g {A-1}\" \"/ut\"", {{u"cr", "0,0,640,480"}, {u"g", "{A-1}"}, {u"ut", ""}}},
        // Unquoted, the line is one key without slashes or dashes.
        {u"/cr 0,0,-5,5", {{u"cr 0,0,5,5", ""}}},
        // Leading blanks of the whole input go; its trailing ones stay.
        {u" \t\r\n/ut \n", {{u"ut \n", ""}}},
        // Trailing blanks of a token go; a blank after the key's separating blank stays.
        {u"\n  \"/g  abc \t\" \"/k v\r\n\"", {{u"g", " abc"}, {u"k", "v"}}},
        // Values of only (lower-case) x are dropped.
        {u"\"/g xxxx\" \"/k x\" \"/a xx1\" \"/b X\"", {{u"a", "xx1"}, {u"b", "X"}}},
        // The last repeat wins; an unclosed last option runs to the end.
        {u"\"/g first\" \"/cr 1,2,3,4\" \"/g second\" \"/h abc  ",
         {{u"g", "second"}, {u"cr", "1,2,3,4"}, {u"h", "abc"}}},
        {u"\"/CustomParams a=1&b=2\" \"/g z\"",
         {{u"customParam_a", "1"}, {u"customParam_b", "2"}, {u"g", "z"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(text(VXString(c.line)));
        VXOptionsBroker broker;
        ASSERT_TRUE(broker.parse(c.line).isSuccess());
        EXPECT_EQ(broker.getOptions().count(), c.options.size());
        for (const auto& [key, expected] : c.options)
            EXPECT_EQ(value(broker, key), expected) << text(VXString(key));
    }
}

TEST(VXOptionsBroker, KeysKeepTheirCaseAndADroppedRepeatErasesNoEarlierValue) {
    VXOptionsBroker broker;
    ASSERT_TRUE(broker.parse(u"\"/cr 1,2,3,4\" \"/g first\"").isSuccess());
    EXPECT_FALSE(broker.getOptions().has(u"CR"));
    ASSERT_TRUE(broker.parse(u"\"/g xxx\"").isSuccess());
    EXPECT_EQ(value(broker, u"g"), "first");
    EXPECT_EQ(broker.parse(nullptr).code(), VXError::eBadParameter);
}

TEST(VXOptionsBroker, CustomParamsAreUnpacked) {
    VXOptionsBroker broker;
    ASSERT_TRUE(broker.parse(u"\"/CustomParams a=1&b=2\"").isSuccess());
    EXPECT_EQ(text(broker.getCustomParams().at(u"b")), "2");
    // Split at the first "=", trailing blanks of the list trimmed, a repeated name overwritten.
    ASSERT_TRUE(broker.parseCustomParams(u"u=a=b&flag&a=3 \t").isSuccess());
    EXPECT_EQ(value(broker, u"customParam_u"), "a=b");
    EXPECT_EQ(value(broker, u"customParam_flag"), "");
    EXPECT_EQ(value(broker, u"customParam_a"), "3");

    LogCapture log;
    EXPECT_EQ(broker.parseCustomParams(nullptr).code(), VXError::eBadParameter);
    EXPECT_EQ(broker.parseCustomParams(u"").code(), VXError::eNotFound);
    ASSERT_EQ(log.bodies().size(), 1u);
    EXPECT_THAT(log.bodies()[0], StartsWith("d: "));
    EXPECT_THAT(log.bodies()[0],
                HasSubstr("VXOptionsBroker::parseCustomParams() - custom params list is empty"));
}

}  // namespace
