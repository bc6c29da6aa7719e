// The stand-in's filter list limit and render target format switch, which no capture test
// drives: the limit is only reached through an override there, the format never.
#include <vector>

#include "StandInFixture.h"

namespace {

const VXRect kRect(0, 0, 64, 48);

}  // namespace

TEST_F(StandInTest, FilterListLongerThanTheLimitFailsWithError50) {
    startReader(kRect);
    // The last error of MagSetWindowFilterList for a list of `count` windows, 0 when accepted.
    auto errorFor = [&](int count) -> DWORD {
        std::vector<HWND> list(static_cast<size_t>(count), reinterpret_cast<HWND>(0x1234));
        SetLastError(0);
        const BOOL ok = getMagnificationDll()->magSetWindowFilterList()(reader->getMagnifierControl(), 0,
                                                                        count, list.data());
        return ok ? 0 : GetLastError();
    };
    EXPECT_EQ(errorFor(1000), 0u);
    EXPECT_EQ(errorFor(1001), 50u);
    ScopedVariable limit(L"VXMAG_FILTER_LIMIT", L"2");
    EXPECT_EQ(errorFor(2), 0u);
    EXPECT_EQ(errorFor(3), 50u);
}

TEST_F(StandInTest, FormatSwitchGivesASurfaceOfThatFormat) {
    startReader(kRect);
    ScopedVariable format(L"VXMAG_FORMAT", L"23");  // R5G6B5
    // The reader names the format of the surface it was handed.
    const std::string message = reader->readScreen().message().toUtf8();
    EXPECT_EQ(message.rfind("Unexpected src surface format (23) at ", 0), 0u) << message;
}
