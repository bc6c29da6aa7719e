#include <gtest/gtest.h>

#include "VXOptionsBroker.h"
#include "support/LogCapture.h"

namespace {

class VXOptionsBrokerTest : public testing::Test {
protected:
    // The value of key, or "<absent>".
    std::string value(const char16_t* key) const {
        VXString out(u"<absent>");
        broker.getOptions().getString(key, out);
        return utf8(out);
    }
    VXOptionsBroker broker;
};

TEST_F(VXOptionsBrokerTest, QuotedOptionsLoseTheirSlashAndKeepTheirCase) {
    ASSERT_TRUE(broker.parse(u"\"/cr 0,0,640,480\" \"/g {A-1}\" \"/ut\"").isSuccess());
    EXPECT_EQ(broker.getOptions().count(), 3u);
    EXPECT_EQ(value(u"cr"), "0,0,640,480");
    EXPECT_EQ(value(u"g"), "{A-1}");
    EXPECT_EQ(value(u"ut"), "");
    EXPECT_FALSE(broker.getOptions().has(u"CR"));
    EXPECT_EQ(broker.parse(nullptr).code(), VXError::eBadParameter);
}

TEST_F(VXOptionsBrokerTest, UnquotedLineBecomesOneKeyWithoutSlashesOrDashes) {
    ASSERT_TRUE(broker.parse(u"/cr 0,0,-5,5").isSuccess());
    EXPECT_EQ(broker.getOptions().count(), 1u);
    EXPECT_EQ(value(u"cr 0,0,5,5"), "");
}

TEST_F(VXOptionsBrokerTest, TrimsAreOneSided) {
    // Leading blanks of the whole input go; its trailing ones stay.
    ASSERT_TRUE(broker.parse(u" \t\r\n/ut \n").isSuccess());
    EXPECT_EQ(value(u"ut \n"), "");
    // Trailing blanks of a token go; a blank after the key's separating blank stays in the value.
    ASSERT_TRUE(broker.parse(u"\n  \"/g  abc \t\" \"/k v\r\n\"").isSuccess());
    EXPECT_EQ(value(u"g"), " abc");
    EXPECT_EQ(value(u"k"), "v");
}

TEST_F(VXOptionsBrokerTest, ValuesOfOnlyXAreDroppedAndTheLastRepeatWins) {
    ASSERT_TRUE(broker.parse(u"\"/g xxxx\" \"/k x\" \"/a xx1\" \"/b X\"").isSuccess());
    EXPECT_FALSE(broker.getOptions().has(u"g"));
    EXPECT_FALSE(broker.getOptions().has(u"k"));
    EXPECT_EQ(value(u"a"), "xx1");
    EXPECT_EQ(value(u"b"), "X");  // only the lower-case letter counts

    ASSERT_TRUE(broker.parse(u"\"/g first\" \"/cr 1,2,3,4\" \"/g second\" \"/h abc  ").isSuccess());
    EXPECT_EQ(value(u"g"), "second");
    EXPECT_EQ(value(u"h"), "abc");  // an unclosed last option runs to the end
    ASSERT_TRUE(broker.parse(u"\"/g xxx\"").isSuccess());
    EXPECT_EQ(value(u"g"), "second");  // a dropped repeat does not erase the earlier value
}

TEST_F(VXOptionsBrokerTest, CustomParamsAreUnpacked) {
    ASSERT_TRUE(broker.parse(u"\"/CustomParams a=1&b=2\" \"/g z\"").isSuccess());
    EXPECT_EQ(value(u"customParam_a"), "1");
    EXPECT_EQ(value(u"customParam_b"), "2");
    EXPECT_FALSE(broker.getOptions().has(u"CustomParams"));
    EXPECT_EQ(utf8(broker.getCustomParams().at(u"b")), "2");

    // Split at the first "=", trailing blanks of the list trimmed, a repeated name overwritten.
    ASSERT_TRUE(broker.parseCustomParams(u"u=a=b&flag&a=3 \t").isSuccess());
    EXPECT_EQ(value(u"customParam_u"), "a=b");
    EXPECT_EQ(value(u"customParam_flag"), "");
    EXPECT_EQ(value(u"customParam_a"), "3");

    LogCapture log;
    EXPECT_EQ(broker.parseCustomParams(nullptr).code(), VXError::eBadParameter);
    EXPECT_EQ(broker.parseCustomParams(u"").code(), VXError::eNotFound);
    ASSERT_EQ(log.bodies().size(), 1u);
    EXPECT_EQ(log.bodies()[0].rfind("d: ", 0), 0u);
    EXPECT_NE(log.bodies()[0].find("VXOptionsBroker::parseCustomParams() - custom params list is empty"),
              std::string::npos);
}

}  // namespace
