#include <gtest/gtest.h>

#include <vector>

#include "MagnifierServerPlatform.h"
#include "SerializeUtils.h"
#include "VXCrashHandler.h"
#include "VistrelExchange.h"
#include "VistrelMain.h"
#include "VistrelServer.h"
#include "support/LogCapture.h"

namespace {

std::string argsOf(const char16_t* commandLine) {
    VXString args(u"stale");
    EXPECT_TRUE(Vistrel::getCommandLineArgs(commandLine, args).isSuccess());
    return args.toUtf8();
}

TEST(VistrelCommandLine, ProgramNameEndsAtTheFirstBlankOutsideQuotes) {
    EXPECT_EQ(argsOf(u"\"C:\\Program Files\\V\\Vistrel.exe\" \"/cr 0,0,1,1\" \"/g x\""),
              " \"/cr 0,0,1,1\" \"/g x\"");
    EXPECT_EQ(argsOf(u"C:\\a\"b c\"d.exe /x"), " /x");  // quotes toggle anywhere in the name
    EXPECT_EQ(argsOf(u"Vistrel.exe"), "");
}

TEST(VistrelMainRoutine, HeldBackRepeatsOfTheLastLineAreWrittenBeforeItReturns) {
    LogCapture log;
    for (int i = 0; i < 3; ++i)
        VX_LOG_INFO(u"the same last line");
    // This process's command line is no server's: the routine ends at the options stage.
    Vistrel::MagnifierServerPlatform platform;
    EXPECT_EQ(Vistrel::mainRoutine(platform), Vistrel::eExitBadOptions);
    VXCrashHandler::uninstall();
    bool noticed = false;
    for (const VXString& line : log.linesAsWritten())
        noticed = noticed || line.find(u"The last log message in this thread was repeated 2 time(s)") >= 0;
    EXPECT_TRUE(noticed);
}

class FinalResult : public ::testing::Test {
protected:
    FinalResult() : _block(std::make_shared<SharedProcessMemory>()), _bytes(Vistrel::kResultBlockSize, 0xCD) {
        _block->view = _bytes.data();  // a stand-in view over plain memory; released by nobody
    }
    ~FinalResult() override { _block->view = nullptr; }

    std::shared_ptr<SharedProcessMemory> _block;
    std::vector<uint8_t> _bytes;
};

TEST_F(FinalResult, AChainTooLongForTheBlockIsCutNotLost) {
    const VXResult huge(2020, u"%s", VXString(u'x', 6000));
    ASSERT_TRUE(Vistrel::writeResult(_block, huge).isSuccess());
    Vistrel::ResultRecord record;
    ASSERT_NE(SerializeUtils::readResult(_bytes.data(), _bytes.size(), record), nullptr);
    EXPECT_EQ(record.code, 2020);
    EXPECT_EQ(record.text.length(), (Vistrel::kResultBlockSize - 16) / 2 - 1);
    EXPECT_EQ(record.text.endsWith(u" [...]").code(), VXStatus::eYes);
    EXPECT_EQ(_bytes[4], 0xCD);
    EXPECT_EQ(Vistrel::writeResult(nullptr, VXResult(2000)).code(), 2005);
}

}  // namespace
