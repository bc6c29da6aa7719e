#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>

#include "VXResult.h"
#include "support/ResultText.h"

namespace {

std::string name(int32_t code) {
    return VXString(VXResult::codeName(code)).toUtf8();
}

TEST(VXResultCodes, BoundaryHoleRangeWordsResolversAndPlatformMappings) {
    EXPECT_FALSE(VXResult(2000).isError());
    EXPECT_TRUE(VXResult(2001).isError());
    const std::pair<int32_t, const char*> names[] = {
        {2027, "unrecognized basic error code"},  // the hole
        {2028, "VXError::eUserCanceled"},        {3004, "unrecognized thread error code"},
        {5500, "compression error code"},        {1008, "unrecognized status code"},
        {2852, "unrecognized error code"},       {10499, "screen sharing error code"},
    };
    for (auto [code, text] : names)
        EXPECT_EQ(name(code), text) << code;

    // Resolvers are asked after the table, in registration order.
    VXResult::registerCodeNameResolver(
        [](int32_t code) -> const char16_t* { return code == 7777 ? u"First::eSeven" : nullptr; });
    VXResult::registerCodeNameResolver([](int32_t code) -> const char16_t* {
        return code == 7777 || code == 2005 ? u"Second::eShadow"
                                            : (code == 7778 ? u"Second::eEight" : nullptr);
    });
    EXPECT_EQ(name(7777), "First::eSeven");
    EXPECT_EQ(name(7778), "Second::eEight");
    EXPECT_EQ(name(2005), "VXError::eBadParameter");
    EXPECT_EQ(name(7779), "broker error code");
    // A resolver that names another code itself; asked on a thread of its own so that a
    // deadlock fails the test instead of hanging it.
    VXResult::registerCodeNameResolver([](int32_t code) -> const char16_t* {
        return code == 7790 && VXString(VXResult::codeName(7791)) == VXString(u"broker error code")
                   ? u"Third::eAskedAgain"
                   : nullptr;
    });
    std::promise<std::string> named;
    std::future<std::string> answer = named.get_future();
    std::thread([&named] { named.set_value(name(7790)); }).detach();
    ASSERT_EQ(answer.wait_for(std::chrono::seconds(10)), std::future_status::ready) << "codeName deadlocked";
    EXPECT_EQ(answer.get(), "Third::eAskedAgain");

    // Platform errors: the named ones and the default.
    EXPECT_EQ(VXResult::mapWin32Error(0), 2000);
    EXPECT_EQ(VXResult::mapWin32Error(5), 2006);
    EXPECT_EQ(VXResult::mapWin32Error(50), 2001);
    EXPECT_EQ(VXResult::mapHResult(static_cast<int32_t>(0x800706BA)), 12503);
    EXPECT_EQ(VXResult::mapHResult(1), 1000);
    EXPECT_EQ(VXResult::mapHResult(static_cast<int32_t>(0x80004005)), 2001);
    EXPECT_EQ(VXResult::mapCrtError(22), 2005);
    EXPECT_EQ(VXResult::mapCrtError(999), 2001);
}

TEST(VXResultText, PlatformErrorsNameTheMethodThenTheSystemText) {
    const VXResult r = VXResult::fromWin32Error(u"CreateFileW", 2);
    EXPECT_EQ(r.code(), 2008);
    VXString system;
    VXResult::formatWin32Message(2, system);
    ASSERT_FALSE(system.isEmpty());
    EXPECT_EQ(system.find(u'\n'), -1);
    EXPECT_EQ(text(r), "Method \"CreateFileW\" returned Win32 error [2]. " + system.toUtf8());
    const VXSourceLocation site("Foo::bar", "foo.cpp", 7);
    const std::string unknown = text(VXResult::fromWin32Error(nullptr, 5, site));
    EXPECT_THAT(unknown, StartsWith("Method \"<Unknown>\" returned Win32 error [5]. "));
    EXPECT_THAT(unknown, HasSubstr("\n\tError returned to Foo::bar, foo.cpp:7"));

    const VXResult negative = VXResult::fromWin32Error(u"CoCreate", 0x80070057);  // an HRESULT
    EXPECT_EQ(negative.code(), 2005);
    EXPECT_THAT(text(negative), StartsWith("Method \"CoCreate\" returned HRESULT [0X80070057]. "));
    const VXResult crt = VXResult::fromCrtError(nullptr, 2);
    EXPECT_EQ(crt.code(), 2008);
    EXPECT_THAT(text(crt), StartsWith("Method \"\" returned CRT error [2]. "));
    const VXResult h = VXResult::fromHResult(u"Create", static_cast<int32_t>(0x80004005), site, 2020);
    EXPECT_EQ(h.code(), 2020);
    EXPECT_THAT(text(h), HasSubstr("[0X80004005]"));
}

TEST(VXResultText, SourceLocationCutsPathAndLowersName) {
    EXPECT_EQ(
        VXString(VXSourceLocation("VXImage::create", "C:\\src\\Module\\VXImage.cpp", 42).text()).toUtf8(),
        "VXImage::create, vximage.cpp:42");
    EXPECT_EQ(VXString(VXSourceLocation(nullptr, "/work/src/VXEvent.cpp", 99).text()).toUtf8(),
              ", vxevent.cpp:99");
    const std::string longName(400, 'f');
    EXPECT_EQ(VXString(VXSourceLocation(longName.c_str(), "a.cpp", 1).text()).length(), 255u);
}

TEST(VXResultText, ContextChains) {
    const VXSourceLocation site("VXEvent::isSignaled", "VXEvent.cpp", 99);
    const std::string at = " at VXEvent::isSignaled, vxevent.cpp:99";
    EXPECT_EQ(text(VXResult(VXResult(2021), site, u"Error returned")), "Error returned" + at);

    VXResult fresh(2020, site, u"Failed writing %s", u"image");
    EXPECT_EQ(text(fresh), "Failed writing image" + at);
    EXPECT_EQ(text(VXResult(fresh, site, u"Error returned")), text(fresh) + "\n\tError returned" + at);

    VXResult recoded(fresh, 2024, site);
    EXPECT_EQ(recoded.code(), 2024);
    EXPECT_EQ(text(recoded), text(fresh) + "\n\tError (2024) \"VXError::eTimeout\" returned" + at);
    EXPECT_TRUE(VXResult(fresh, 1001, site).message().isEmpty());  // re-coded to a success
    EXPECT_EQ(text(VXResult(fresh, 2011, site, u"Too many windows supplied[%d]", 3)),
              text(fresh) + "\n\tToo many windows supplied[3], error (2011) \"VXError::eTooMany\"" + at);
}

TEST(VXResultText, AppendAddContextDescribe) {
    const VXSourceLocation site("A::b", "a.cpp", 1);
    VXResult ok;
    ok.append(VXResult(2000), site);  // adds nothing: the text below is all there is
    const VXResult other(2008, u"missing");
    ok.append(other, site);
    EXPECT_EQ(ok.code(), 2008);
    EXPECT_EQ(text(ok), "Appended: VXError::eNotFound at A::b, a.cpp:1\n\t[missing]");
    VXResult first(2005, u"first");
    EXPECT_EQ(first.append(other, site).code(), 2005);  // the first failure keeps its code

    VXResult r(2004);
    EXPECT_TRUE(r.addContext(u"one %d", 1));
    EXPECT_TRUE(r.addContext(u"two"));
    EXPECT_FALSE(r.addContext(nullptr));
    EXPECT_EQ(r.describe().toUtf8(), "(2004) \"VXError::eNoMemory\"\n\tone 1\n\ttwo");

    VXResult big(2001, u"start");
    big.addContext(u"%s", VXString(u'x', 65530));  // would pass the string limit: left out
    EXPECT_EQ(text(big), "start");
}

}  // namespace
