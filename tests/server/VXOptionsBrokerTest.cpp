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

TEST_F(VXOptionsBrokerTest, QuotedOptionsLoseTheirSlash) {
    ASSERT_TRUE(broker.parse(u"\"/cr 0,0,640,480\" \"/g {A-1}\" \"/ut\"").isSuccess());
    EXPECT_EQ(broker.getOptions().count(), 3u);
    EXPECT_EQ(value(u"cr"), "0,0,640,480");
    EXPECT_EQ(value(u"g"), "{A-1}");
    EXPECT_TRUE(broker.getOptions().has(u"ut"));
    EXPECT_EQ(value(u"ut"), "");
    EXPECT_FALSE(broker.getOptions().has(u"/cr"));
    EXPECT_FALSE(broker.getOptions().has(u"CR"));  // keys keep their case
}

TEST_F(VXOptionsBrokerTest, UnquotedLineBecomesOneKeyWithoutSlashesOrDashes) {
    ASSERT_TRUE(broker.parse(u"/cr 0,0,-5,5").isSuccess());
    EXPECT_EQ(broker.getOptions().count(), 1u);
    EXPECT_EQ(value(u"cr 0,0,5,5"), "");
    EXPECT_FALSE(broker.getOptions().has(u"cr"));

    VXOptionsBroker onlyDashes;
    ASSERT_TRUE(onlyDashes.parse(u"  -/-").isSuccess());
    EXPECT_EQ(onlyDashes.getOptions().count(), 0u);
}

TEST_F(VXOptionsBrokerTest, TrimsAreOneSided) {
    // Leading blanks of the whole input go; its trailing ones stay.
    ASSERT_TRUE(broker.parse(u" \t\r\n/ut \n").isSuccess());
    EXPECT_EQ(value(u"ut \n"), "");

    // Trailing blanks of a token go; a blank after the key's separating blank stays in the value.
    VXOptionsBroker quoted;
    ASSERT_TRUE(quoted.parse(u"\n  \"/g  abc \t\" \"/k v\r\n\"").isSuccess());
    VXString g;
    ASSERT_TRUE(quoted.getOptions().getString(u"g", g).isSuccess());
    EXPECT_EQ(utf8(g), " abc");
    VXString k;
    ASSERT_TRUE(quoted.getOptions().getString(u"k", k).isSuccess());
    EXPECT_EQ(utf8(k), "v");
}

TEST_F(VXOptionsBrokerTest, ValuesOfOnlyXAreDropped) {
    ASSERT_TRUE(broker.parse(u"\"/g xxxx\" \"/k x\" \"/a xx1\" \"/b X\" \"/e \"").isSuccess());
    EXPECT_FALSE(broker.getOptions().has(u"g"));
    EXPECT_FALSE(broker.getOptions().has(u"k"));
    EXPECT_EQ(value(u"a"), "xx1");
    EXPECT_EQ(value(u"b"), "X");  // only the lower-case letter counts
    EXPECT_EQ(value(u"e"), "");   // trimmed to a bare key before splitting
}

TEST_F(VXOptionsBrokerTest, LastRepeatedOptionWins) {
    ASSERT_TRUE(broker.parse(u"\"/g first\" \"/cr 1,2,3,4\" \"/g second\"").isSuccess());
    EXPECT_EQ(value(u"g"), "second");
    EXPECT_EQ(value(u"cr"), "1,2,3,4");
    // A dropped repeat does not erase the earlier value.
    ASSERT_TRUE(broker.parse(u"\"/g xxx\"").isSuccess());
    EXPECT_EQ(value(u"g"), "second");
}

TEST_F(VXOptionsBrokerTest, UnclosedLastOptionRunsToTheEnd) {
    ASSERT_TRUE(broker.parse(u"\"/cr 1,2,3,4\" \"/g abc  ").isSuccess());
    EXPECT_EQ(value(u"g"), "abc");
    EXPECT_EQ(value(u"cr"), "1,2,3,4");
    // Text between options that is not opened by a quote and a slash is ignored.
    VXOptionsBroker between;
    ASSERT_TRUE(between.parse(u"\"/a 1\" stray \"b 2\" \"/c 3\"").isSuccess());
    EXPECT_EQ(between.getOptions().count(), 2u);
}

TEST_F(VXOptionsBrokerTest, NullInputIsABadParameter) {
    const VXResult r = broker.parse(nullptr);
    EXPECT_EQ(r.code(), VXError::eBadParameter);
    EXPECT_EQ(utf8(r.message()).rfind("Parameter check \"input\" failed at , vxoptionsbroker.cpp:", 0), 0u);
}

TEST_F(VXOptionsBrokerTest, CustomParamsAreUnpacked) {
    ASSERT_TRUE(broker.parse(u"\"/CustomParams a=1&b=2\" \"/g z\"").isSuccess());
    EXPECT_EQ(value(u"customParam_a"), "1");
    EXPECT_EQ(value(u"customParam_b"), "2");
    EXPECT_FALSE(broker.getOptions().has(u"CustomParams"));
    EXPECT_EQ(broker.getCustomParams().size(), 2u);
    EXPECT_EQ(utf8(broker.getCustomParams().at(u"b")), "2");

    // Split at the first "=", trailing blanks of the list trimmed, a repeated name overwritten.
    ASSERT_TRUE(broker.parseCustomParams(u"u=a=b&flag&a=3 \t").isSuccess());
    EXPECT_EQ(value(u"customParam_u"), "a=b");
    EXPECT_EQ(value(u"customParam_flag"), "");
    EXPECT_EQ(value(u"customParam_a"), "3");
    EXPECT_EQ(utf8(broker.getCustomParams().at(u"a")), "3");
}

TEST_F(VXOptionsBrokerTest, CustomParamsRefuseNullAndEmptyLists) {
    LogCapture log;
    VXResult r = broker.parseCustomParams(nullptr);
    EXPECT_EQ(r.code(), VXError::eBadParameter);
    EXPECT_NE(utf8(r.message()).find("\"customParams\""), std::string::npos);
    EXPECT_TRUE(log.lines().empty());

    r = broker.parseCustomParams(u"");
    EXPECT_EQ(r.code(), VXError::eNotFound);
    const std::vector<std::string> lines = log.bodies();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("d: ", 0), 0u) << lines[0];
    EXPECT_NE(lines[0].find("VXOptionsBroker::parseCustomParams() - custom params list is empty"),
              std::string::npos);
}

TEST(VXOptions, SetWithoutOverwriteKeepsTheValueAndLookupLeavesOutputAlone) {
    VXOptions options;
    ASSERT_TRUE(options.set(u"k", u"one", false).isSuccess());
    EXPECT_EQ(options.set(u"k", u"two", false).code(), VXError::eExists);
    VXString out;
    ASSERT_TRUE(options.getString(u"k", out).isSuccess());
    EXPECT_EQ(utf8(out), "one");
    ASSERT_TRUE(options.set(u"k", u"three").isSuccess());
    ASSERT_TRUE(options.getString(u"k", out).isSuccess());
    EXPECT_EQ(utf8(out), "three");

    out = u"kept";
    EXPECT_EQ(options.getString(u"missing", out).code(), VXError::eNotFound);
    EXPECT_EQ(utf8(out), "kept");
    EXPECT_FALSE(options.has(u"K"));
}

}  // namespace
