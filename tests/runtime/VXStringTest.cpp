#include <gtest/gtest.h>

#include "VXResult.h"
#include "VXString.h"
#include "support/LogCapture.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

std::string u8(const VXString& s) { return s.toUtf8(); }

TEST(VXString, NullTextReadsNull) {
    EXPECT_EQ(u8(VXString(static_cast<const char16_t*>(nullptr))), "(null)");
    VXString s(u"x");
    s = static_cast<const char16_t*>(nullptr);
    EXPECT_EQ(u8(s), "(null)");
}

TEST(VXString, LengthLimitRefusesAndKeepsContents) {
    VXString full(u'a', 65534);
    ASSERT_EQ(full.length(), 65534u);
    EXPECT_FALSE(full.append(u"b"));
    EXPECT_FALSE(full.prepend(u"b"));
    EXPECT_EQ(full.length(), 65534u);
    EXPECT_EQ(full[65533], u'a');
    EXPECT_TRUE(full.append(u""));  // an empty source succeeds without change

    VXString tooLong(u'a', 65535);
    EXPECT_TRUE(tooLong.isEmpty());
    {
        LogCapture log;
        full += u"c";
        EXPECT_TRUE(log.contains("Failure in VXString += operator"));
    }
    EXPECT_EQ(full.length(), 65534u);
    EXPECT_FALSE(VXString(u"a").append(nullptr));
}

TEST(VXString, AppendAndPrependFromOwnBuffer) {
    VXString s(u"0123456789");
    // Enough appends to force reallocation while the source points into the old buffer.
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(s.append(s.c_str() + 3, 4));
    EXPECT_EQ(u8(s), "01234567893456345634563456" "3456");
    VXString p(u"abcdef");
    ASSERT_TRUE(p.prepend(p.c_str() + 2, 3));
    EXPECT_EQ(u8(p), "cdeabcdef");
    ASSERT_TRUE(p.append(p));
    EXPECT_EQ(u8(p), "cdeabcdefcdeabcdef");
    p.assign(p.c_str() + 3, 3);
    EXPECT_EQ(u8(p), "abc");
}

TEST(VXString, DoubleWithPrecision) {
    EXPECT_EQ(u8(VXString(0.1, 3)), "0.1");
    EXPECT_EQ(u8(VXString(1234.5678, 6)), "1234.57");
    EXPECT_EQ(u8(VXString(0.1, 17)), "0.10000000000000001");
}

#ifdef _WIN32
LONG CALLBACK continueFatalPrecondition(EXCEPTION_POINTERS* info) {
    if (info->ExceptionRecord->ExceptionCode == VXPlatform::kFatalPreconditionException) {
        return EXCEPTION_CONTINUE_EXECUTION;
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

TEST(VXString, PrecisionAbove17RaisesFatalPreconditionThenClamps) {
    LogCapture log;
    PVOID handler = AddVectoredExceptionHandler(1, continueFatalPrecondition);
    static int raised = 0;
    raised = 0;
    PVOID counter = AddVectoredExceptionHandler(1, [](EXCEPTION_POINTERS* info) -> LONG {
        if (info->ExceptionRecord->ExceptionCode == VXPlatform::kFatalPreconditionException) ++raised;
        return EXCEPTION_CONTINUE_SEARCH;
    });
    VXString s(0.1, 20);
    RemoveVectoredExceptionHandler(counter);
    RemoveVectoredExceptionHandler(handler);
    EXPECT_EQ(raised, 1);
    EXPECT_EQ(u8(s), "0.10000000000000001");
    EXPECT_TRUE(log.contains("Assertion failure at VXString::VXString, vxstring.cpp:"));
}
#else
TEST(VXString, PrecisionAbove17ReportsAssertionThenClamps) {
    LogCapture log;
    VXString s(0.1, 20);
    EXPECT_EQ(u8(s), "0.10000000000000001");
    EXPECT_TRUE(log.contains("Assertion failure at VXString::VXString, vxstring.cpp:"));
}
#endif

TEST(VXString, ToIntEdgeCases) {
    LogCapture log;
    int32_t v = 99;
    EXPECT_EQ(VXString(u"12").toInt(1, v).code(), VXError::eBadParameter);
    EXPECT_TRUE(log.contains("Radix 1 in"));
    EXPECT_EQ(VXString(u"12").toInt(37, v).code(), VXError::eBadParameter);
    VXResult bad = VXString(u"x1").toInt(10, v);
    EXPECT_EQ(bad.code(), VXError::eBadFormat);
    EXPECT_NE(u8(bad.message()).find("String \"x1\" not a number in"), std::string::npos);
    EXPECT_EQ(v, 99);  // untouched on failure
    ASSERT_TRUE(VXString(u"-7").toInt(10, v).isSuccess());
    EXPECT_EQ(v, -7);
    ASSERT_TRUE(VXString(u"12ab").toInt(10, v).isSuccess());
    EXPECT_EQ(v, 12);
    ASSERT_TRUE(VXString(u"  ff").toInt(16, v).isSuccess());
    EXPECT_EQ(v, 255);
    ASSERT_TRUE(VXString(u"-zz").toInt(36, v).isSuccess());
    EXPECT_EQ(v, -1295);
    ASSERT_TRUE(VXString(u"99999999999").toInt(10, v).isSuccess());
    EXPECT_EQ(v, INT32_MAX);
    EXPECT_EQ(VXString(u"").toInt(10, v).code(), VXError::eBadFormat);
    EXPECT_EQ(VXString(u"-").toInt(10, v).code(), VXError::eBadFormat);
}

TEST(VXString, SubstrAndReplace) {
    LogCapture log;
    VXString s(u"hello world");
    VXString out;
    ASSERT_TRUE(s.substr(6, out).isSuccess());
    EXPECT_EQ(u8(out), "world");
    ASSERT_TRUE(s.substr(0, 5, out).isSuccess());
    EXPECT_EQ(u8(out), "hello");
    ASSERT_TRUE(s.substr(11, out).isSuccess());
    EXPECT_TRUE(out.isEmpty());
    EXPECT_TRUE(s.substr(12, out).isError());
    EXPECT_TRUE(log.contains("Bounds check failed in VXString::substr(int32)"));
    EXPECT_TRUE(s.substr(3, -1, out).isError());
    EXPECT_TRUE(log.contains("Negative length in VXString::substr(int32, int32)"));
    EXPECT_TRUE(s.substr(8, 4, out).isError());

    VXString r(u"a.b.c");
    ASSERT_TRUE(r.replaceFirst(u".", u"--").isSuccess());
    EXPECT_EQ(u8(r), "a--b.c");
    ASSERT_TRUE(r.replaceAll(u"-", u"").isSuccess());
    EXPECT_EQ(u8(r), "ab.c");
    ASSERT_TRUE(r.replaceAll(u".", u"..").isSuccess());  // replacement containing the search text
    EXPECT_EQ(u8(r), "ab..c");
    EXPECT_EQ(r.replaceAll(u"zz", u"y").code(), VXStatus::eNo);
    EXPECT_TRUE(r.replaceAll(u"", u"y").isError());
    EXPECT_TRUE(log.contains("Empty string in replaceAll()"));
    EXPECT_TRUE(r.replaceFirst(nullptr, u"y").isError());
    EXPECT_TRUE(log.contains("NULL pointer in replaceFirst()"));
    EXPECT_EQ(u8(r), "ab..c");
}

TEST(VXString, TrimEndsWithCaseFolding) {
    VXString s(u" \t\r\nabc \n");
    s.trim();
    EXPECT_EQ(u8(s), "abc");
    EXPECT_EQ(s.endsWith(u"bc").code(), VXStatus::eYes);
    EXPECT_EQ(s.endsWith(u"abcd").code(), VXStatus::eNo);
    EXPECT_EQ(s.endsWith(u"").code(), VXStatus::eYes);
    VXString k(u"/SessionKey");
    EXPECT_TRUE(k.equalsNoCase(u"/sessionkey"));
    EXPECT_FALSE(k.equalsNoCase(u"/sessionkeys"));
    VXString mixed(u"ÄBC-xyZ");
    mixed.makeLower();
    EXPECT_EQ(u8(mixed), "Äbc-xyz");  // only A-Z fold
}

TEST(VXString, WritableBufferAndCopy) {
    VXString s;
    char16_t* buffer = s.getWritableBuffer(10);
    ASSERT_NE(buffer, nullptr);
    buffer[0] = u'h';
    buffer[1] = u'i';
    buffer[2] = u'\0';
    s.releaseWritableBuffer();
    EXPECT_EQ(u8(s), "hi");
    EXPECT_EQ(s.copyTo(nullptr, 0), 3u);
    char16_t out[3];
    EXPECT_EQ(s.copyTo(out, 2), 0u);
    EXPECT_EQ(s.copyTo(out, 3), 3u);
    EXPECT_EQ(out[2], u'\0');
    LogCapture log;
    EXPECT_EQ(s.getWritableBuffer(70000), nullptr);
    EXPECT_TRUE(log.contains("Failure in VXString::getWritableBuffer"));
}

TEST(VXString, Utf8RoundTripAndSecurePrintable) {
    const std::string text = "caf\xC3\xA9 \xF0\x9F\x98\x80";
    EXPECT_EQ(VXString::fromUtf8(text).toUtf8(), text);
    EXPECT_EQ(VXString::fromUtf8("\xFF" "a").length(), 2u);  // stray byte kept as Latin-1
    VXString secret(u"hunter2");
    secret.setSecure(true);
    EXPECT_EQ(u8(vxFormat(u"[%s]", secret)), "[(secure)]");
    VXString copy = secret;
    EXPECT_TRUE(copy.isSecure());
}

}  // namespace
