#include <gtest/gtest.h>

#include <future>
#include <string>

#include "VXChecks.h"
#include "VXResult.h"
#include "support/LogCapture.h"

namespace {

std::string name(int32_t code) { return VXString(VXResult::codeName(code)).toUtf8(); }
std::string msg(const VXResult& r) { return r.message().toUtf8(); }

TEST(VXResultCodes, SuccessBoundaryIs2000) {
    EXPECT_FALSE(VXResult(2000).isError());
    EXPECT_FALSE(VXResult(1999).isError());
    EXPECT_FALSE(VXResult(-5).isError());
    EXPECT_TRUE(VXResult(2001).isError());
    EXPECT_FALSE(VXResult().isError());
}

TEST(VXResultCodes, NamesAndRangeWords) {
    EXPECT_EQ(name(2005), "VXError::eBadParameter");
    EXPECT_EQ(name(2026), "VXError::eInvalidType");
    EXPECT_EQ(name(2027), "unrecognized basic error code");
    EXPECT_EQ(name(2028), "VXError::eUserCanceled");
    EXPECT_EQ(name(2036), "VXError::eErrorCount");
    EXPECT_EQ(name(3004), "unrecognized thread error code");
    EXPECT_EQ(name(3006), "VXThreadError::eCanceled");
    EXPECT_EQ(name(5500), "compression error code");
    EXPECT_EQ(name(1300), "unrecognized error code");
    EXPECT_EQ(name(1007), "VXStatus::eNeedData");
    EXPECT_EQ(name(1008), "unrecognized status code");
    EXPECT_EQ(name(1101), "VXHttpInfoStatus::eSwitchingProtocols");
    EXPECT_EQ(name(1103), "unrecognized error code");
    EXPECT_EQ(name(1226), "VXHttpStatus::eIMUsed");
    EXPECT_EQ(name(2800), "VXPosixError::eTooManyArguments");
    EXPECT_EQ(name(2851), "VXPosixError::eBadLink");
    EXPECT_EQ(name(2852), "unrecognized error code");  // past the basic range
    EXPECT_EQ(name(9003), "security error code");
    EXPECT_EQ(name(12503), "VXCCLError::eServerException");
    EXPECT_EQ(name(12521), "VXCCLError::eCease");
    EXPECT_EQ(name(13308), "VXHttpError::ePermanentRedirect308");
    EXPECT_EQ(name(13599), "VXHttpError::eNetworkConnectTimeoutError");
    EXPECT_EQ(name(13600), "unrecognized error code");
    EXPECT_EQ(name(10499), "screen sharing error code");
    EXPECT_EQ(name(12011), "VXDeviceError::eUnableToInitialize");
}

TEST(VXResultCodes, RegisteredResolversAreAskedAfterTheTableInOrder) {
    VXResult::registerCodeNameResolver([](int32_t code) -> const char16_t* {
        return code == 7777 ? u"First::eSeven" : nullptr;
    });
    VXResult::registerCodeNameResolver([](int32_t code) -> const char16_t* {
        if (code == 7777) return u"Second::eSeven";
        return code == 2005 ? u"Second::eShadow" : (code == 7778 ? u"Second::eEight" : nullptr);
    });
    EXPECT_EQ(name(7777), "First::eSeven");
    EXPECT_EQ(name(7778), "Second::eEight");
    EXPECT_EQ(name(2005), "VXError::eBadParameter");
    EXPECT_EQ(name(7779), "broker error code");
}

TEST(VXResultMapping, Win32Errors) {
    const std::pair<uint32_t, int32_t> cases[] = {
        {0, 2000},   {2, 2008},    {1060, 2008}, {4, 2011},    {214, 2011}, {5, 2006},  {6, 2003},
        {14, 2004},  {19, 2030},   {21, 2031},   {1127, 2010}, {33, 2029},  {112, 2015}, {231, 2012},
        {183, 2009}, {1073, 2009}, {87, 2005},   {120, 2018},  {206, 2033}, {1072, 2019}, {50, 2001},
    };
    for (auto [error, code] : cases) EXPECT_EQ(VXResult::mapWin32Error(error), code) << error;
}

TEST(VXResultMapping, HResults) {
    EXPECT_EQ(VXResult::mapHResult(static_cast<int32_t>(0x800706BA)), 12503);
    EXPECT_EQ(VXResult::mapHResult(static_cast<int32_t>(0x800706BE)), 12503);
    EXPECT_EQ(VXResult::mapHResult(static_cast<int32_t>(0x80070005)), 2006);
    EXPECT_EQ(VXResult::mapHResult(static_cast<int32_t>(0x80010105)), 12503);  // RPC facility
    EXPECT_EQ(VXResult::mapHResult(static_cast<int32_t>(0x800706BB)), 2001);
    EXPECT_EQ(VXResult::mapHResult(static_cast<int32_t>(0x80004004)), 2028);
    EXPECT_EQ(VXResult::mapHResult(static_cast<int32_t>(0x8002000B)), 2016);
    EXPECT_EQ(VXResult::mapHResult(static_cast<int32_t>(0x8007000E)), 2004);
    EXPECT_EQ(VXResult::mapHResult(static_cast<int32_t>(0x80070057)), 2005);
    EXPECT_EQ(VXResult::mapHResult(0), 2000);
    EXPECT_EQ(VXResult::mapHResult(1), 1000);
    EXPECT_EQ(VXResult::mapHResult(static_cast<int32_t>(0x80004005)), 2001);
}

TEST(VXResultMapping, CrtErrors) {
    EXPECT_EQ(VXResult::mapCrtError(80), 1006);
    EXPECT_FALSE(VXResult(VXResult::mapCrtError(80)).isError());
    EXPECT_EQ(VXResult::mapCrtError(42), 2034);
    EXPECT_EQ(VXResult::mapCrtError(22), 2005);
    EXPECT_EQ(VXResult::mapCrtError(31), 2011);
    EXPECT_EQ(VXResult::mapCrtError(999), 2001);
}

TEST(VXResultText, Win32ErrorNamesTheMethodThenTheSystemText) {
    const VXResult r = VXResult::fromWin32Error(u"CreateFileW", 2);
    EXPECT_EQ(r.code(), 2008);
    VXString system;
    VXResult::formatWin32Message(2, system);
    ASSERT_FALSE(system.isEmpty());
    EXPECT_EQ(system.find(u'\n'), -1);
    EXPECT_EQ(system.find(u'\r'), -1);
    EXPECT_EQ(msg(r), "Method \"CreateFileW\" returned Win32 error [2]. " + system.toUtf8());
    EXPECT_EQ(msg(VXResult::fromWin32Error(nullptr, 5)).rfind("Method \"<Unknown>\" returned Win32 error [5]. ", 0), 0u);
}

TEST(VXResultText, NegativeWin32ErrorIsAnHResult) {
    const VXResult r = VXResult::fromWin32Error(u"CoCreate", 0x80070057);
    EXPECT_EQ(r.code(), 2005);
    EXPECT_EQ(msg(r).rfind("Method \"CoCreate\" returned HRESULT [0X80070057]. ", 0), 0u);
}

TEST(VXResultText, CrtErrorHasEmptyDefaultName) {
    const VXResult r = VXResult::fromCrtError(nullptr, 2);
    EXPECT_EQ(r.code(), 2008);
    EXPECT_EQ(msg(r).rfind("Method \"\" returned CRT error [2]. ", 0), 0u);
    EXPECT_GT(msg(r).size(), std::string("Method \"\" returned CRT error [2]. ").size());
}

TEST(VXResultText, SourceLocationCutsPathAndLowersName) {
    VXSourceLocation loc("VXImage::create", "C:\\src\\Module\\VXImage.cpp", 42);
    EXPECT_EQ(VXString(loc.text()).toUtf8(), "VXImage::create, vximage.cpp:42");
    VXSourceLocation unix("", "/work/src/VXEvent.cpp", 99);
    EXPECT_EQ(VXString(unix.text()).toUtf8(), ", vxevent.cpp:99");
    std::string longName(400, 'f');
    VXSourceLocation cut(longName.c_str(), "a.cpp", 1);
    EXPECT_EQ(VXString(cut.text()).length(), 255u);
}

TEST(VXResultText, ContextChains) {
    const VXSourceLocation site("VXEvent::isSignaled", "VXEvent.cpp", 99);
    VXResult passed(VXResult(2021), site, u"Error returned");
    EXPECT_EQ(passed.code(), 2021);
    EXPECT_EQ(msg(passed), "Error returned at VXEvent::isSignaled, vxevent.cpp:99");

    VXResult fresh(2020, site, u"Failed writing %s", u"image");
    EXPECT_EQ(msg(fresh), "Failed writing image at VXEvent::isSignaled, vxevent.cpp:99");
    VXResult chained(fresh, site, u"Error returned");
    EXPECT_EQ(msg(chained), msg(fresh) + "\n\tError returned at VXEvent::isSignaled, vxevent.cpp:99");

    VXResult recoded(fresh, 2024, site);
    EXPECT_EQ(recoded.code(), 2024);
    EXPECT_EQ(msg(recoded),
              msg(fresh) + "\n\tError (2024) \"VXError::eTimeout\" returned at VXEvent::isSignaled, vxevent.cpp:99");
    VXResult toSuccess(fresh, 1001, site);
    EXPECT_EQ(toSuccess.code(), 1001);
    EXPECT_TRUE(toSuccess.message().isEmpty());

    VXResult recodedText(fresh, 2011, site, u"Too many windows supplied[%d]", 3);
    EXPECT_EQ(msg(recodedText), msg(fresh) +
                                    "\n\tToo many windows supplied[3], error (2011) \"VXError::eTooMany\" at "
                                    "VXEvent::isSignaled, vxevent.cpp:99");

    VXResult noFunction(2005, VXSourceLocation(nullptr, "x.cpp", 3), u"Error returned");
    EXPECT_EQ(msg(noFunction), "Error returned at , x.cpp:3");
}

TEST(VXResultText, Win32AtSiteAndHResultOverride) {
    const VXSourceLocation site("Foo::bar", "foo.cpp", 7);
    VXResult r = VXResult::fromWin32Error(u"OpenEvent", 2, site);
    EXPECT_EQ(r.code(), 2008);
    EXPECT_NE(msg(r).find("\n\tError returned to Foo::bar, foo.cpp:7"), std::string::npos);
    VXResult h = VXResult::fromHResult(u"Create", static_cast<int32_t>(0x80004005), site, 2020);
    EXPECT_EQ(h.code(), 2020);
    EXPECT_NE(msg(h).find("[0X80004005]"), std::string::npos);
}

TEST(VXResultText, AppendAddContextDescribe) {
    const VXSourceLocation site("A::b", "a.cpp", 1);
    VXResult ok;
    ok.append(VXResult(2000), site);
    EXPECT_EQ(ok.code(), 2000);
    EXPECT_TRUE(ok.message().isEmpty());
    VXResult other(2008, u"missing");
    ok.append(other, site);
    EXPECT_EQ(ok.code(), 2008);
    EXPECT_EQ(msg(ok), "Appended: VXError::eNotFound at A::b, a.cpp:1\n\t[missing]");
    VXResult first(2005, u"first");
    first.append(other, site);
    EXPECT_EQ(first.code(), 2005);

    VXResult r(2004);
    EXPECT_TRUE(r.addContext(u"one %d", 1));
    EXPECT_TRUE(r.addContext(u"two"));
    EXPECT_FALSE(r.addContext(nullptr));
    EXPECT_EQ(msg(r), "one 1\n\ttwo");
    EXPECT_EQ(r.describe().toUtf8(), "(2004) \"VXError::eNoMemory\"\n\tone 1\n\ttwo");
    EXPECT_EQ(VXResult(2000).describe(u"Error").toUtf8(), "Error\n\t(2000) \"VXError::eNoError\"");
}

TEST(VXResultText, OversizeContextIsLeftOut) {
    VXResult r(2001, u"start");
    VXString big(u'x', 65530);
    r.addContext(u"%s", big);
    EXPECT_EQ(msg(r), "start");
}

TEST(VXResultText, SystemErrorCategories) {
    const VXResult generic = VXResult::fromSystemError(std::system_error(std::make_error_code(std::errc::invalid_argument), "bad"));
    EXPECT_EQ(generic.code(), 2005);
    EXPECT_EQ(msg(generic).rfind("bad", 0), 0u);
    const VXResult system = VXResult::fromSystemError(std::system_error(5, std::system_category()));
#ifdef _WIN32
    EXPECT_EQ(system.code(), 2006);  // ERROR_ACCESS_DENIED
#else
    EXPECT_EQ(system.code(), 2010);  // EIO
#endif
    EXPECT_TRUE(system.message().isEmpty());
    const VXResult other = VXResult::fromSystemError(std::system_error(std::make_error_code(std::future_errc::no_state)));
    EXPECT_EQ(other.code(), 2001);
    const std::string prefix =
        "Category: future, code=" + std::to_string(static_cast<int>(std::future_errc::no_state)) + "\n";
    EXPECT_EQ(msg(other).rfind(prefix, 0), 0u);
}

TEST(VXResultText, LogIfErrorLogsOnlyErrors) {
    LogCapture log;
    EXPECT_FALSE(VXResult(2000).logIfError(VX_SITE));
    EXPECT_TRUE(log.lines().empty());
    EXPECT_TRUE(VXResult(2008, u"gone").logIfError(VX_SITE));
    const auto lines = log.bodies();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("E: [", 0), 0u);
    EXPECT_NE(lines[0].find("Error\n\t(2008) \"VXError::eNotFound\"\n\tgone at "), std::string::npos);
    EXPECT_NE(lines[0].find("vxresulttest.cpp:"), std::string::npos);
}

}  // namespace
