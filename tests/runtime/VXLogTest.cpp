#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "VXLog.h"
#include "support/LogCapture.h"

namespace {

TEST(VXLogTimestamp, FixedEightHoursBehindUtc) {
    VXSystemTime t;
    t.year = 2023, t.month = 3, t.day = 1, t.hour = 0, t.minute = 30, t.second = 5, t.milliseconds = 7;
    EXPECT_EQ(VXLogFormatter::formatTimestamp(t).toUtf8(), "2023-02-28 16:30:05.007 PST");
    t.year = 2024;  // leap year
    EXPECT_EQ(VXLogFormatter::formatTimestamp(t).toUtf8(), "2024-02-29 16:30:05.007 PST");
}

TEST(VXLogLine, PiecesLevelsAndLengthCut) {
    VXLogFormatter f;
    VXLogData d{.level = 2,
                .thread = u"17",
                .file = u"vxevent.cpp",
                .function = u"VXEvent::set",
                .tag = u"net",
                .message = u"hello"};
    VXString line;
    ASSERT_TRUE(f.formatLine(d, u"2024-01-01 00:00:00.000 PST", line).isSuccess());
    EXPECT_EQ(line.toUtf8(), "2024-01-01 00:00:00.000 PST W: [17] <vxevent.cpp> {net} VXEvent::set - hello");
    d.message = VXString(u'x', 65534);
    ASSERT_TRUE(f.formatLine(d, u"2024-01-01 00:00:00.000 PST", line).isSuccess());
    EXPECT_EQ(line.length(), VXLogFormatter::kMaxLineLength);

    VXLogData bare{.message = u"m"};
    const std::pair<int, const char*> levels[] = {{-1, "m"},    {0, "d: m"},  {1, "i: m"}, {2, "W: m"},
                                                  {3, "E: m"},  {5, "s: m"},  {6, "C: m"}, {4, nullptr},
                                                  {7, nullptr}, {-2, nullptr}};
    for (auto [level, expected] : levels) {
        bare.level = level;
        const VXResult r = f.formatLine(bare, VXString(), line);
        EXPECT_EQ(r.isError(), expected == nullptr) << level;
        if (expected != nullptr) {
            EXPECT_EQ(line.toUtf8(), expected);
        }
    }
}

TEST(VXLogPipeline, LineCarriesLevelThreadFileAndFunctionAndDropsLevelFour) {
    LogCapture log;
    VX_LOG(4, u"never");
    VX_LOG(1, u"");
    VXLog::log(1, nullptr, nullptr, nullptr);
    VX_LOG_WARNING(u"disk %d%% full", 93);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr(" W: [" + VXLog::threadIdentity().toUtf8() + "] <VXLogTest.cpp> "));
    EXPECT_THAT(lines[0], HasSubstr("_Test::TestBody - disk 93% full"));
    EXPECT_EQ(lines[0].find(" PST "), 23u);

    log.clear();
    std::thread([] {
        VXLog::setCurrentThreadName(u"DumpThread");
        VX_LOG_INFO(u"named");
    }).join();
    EXPECT_TRUE(log.contains("[DumpThread]"));

    log.clear();
    VXPlatform::shutdown();
    EXPECT_TRUE(VXLog::threadIdentity().isEmpty());
    VX_LOG_INFO(u"late");
    VXPlatform::initialize();
    ASSERT_EQ(log.bodies().size(), 1u);
    EXPECT_THAT(log.bodies()[0], StartsWith("i: <VXLogTest.cpp> "));
}

TEST(VXLogPipeline, BufferKeepsTheLastLinesAndTheSecondListHearsOnlyWhileActive) {
    LogCapture log;
    auto buffer = std::make_shared<VXLogBuffer>(2);
    auto second = std::make_shared<VXLogCaptureTarget>();
    VXLog::setListener(1, buffer);
    VXLog::setSecondTargets({second});
    for (const char16_t* text : {u"one", u"two", u"three"})
        VX_LOG_INFO(u"%s", text);
    VXLog::setSecondTargetListActive(true);
    VX_LOG_INFO(u"four");
    VXLog::setSecondTargetListActive(false);
    VX_LOG_INFO(u"five");
    VXLog::setListener(1, nullptr);
    VXLog::setSecondTargets({});

    const std::vector<VXString> kept = buffer->contents();
    ASSERT_EQ(kept.size(), 2u);
    EXPECT_THAT(kept[0].toUtf8(), HasSubstr(" - four"));
    EXPECT_THAT(kept[1].toUtf8(), HasSubstr(" - five"));
    ASSERT_EQ(second->lines().size(), 1u);
    EXPECT_EQ(second->lines()[0], log.linesAsWritten()[3]);
}

TEST(VXLogTracker, ReportsTheFirstAndEveryTenfoldOccurrenceUnderItsName) {
    LogCapture log;
    VXLogTracker narrow("slow frame");
    VXLogTrackerW wide(u"lost window");
    for (int i = 0; i < 12; ++i) {
        narrow.occurred(__FILE__, "render");
        wide.occurred(__FILE__, "render");
    }
    EXPECT_EQ(wide.count(), 12);
    EXPECT_EQ(messages(log), (std::vector<std::string>{"### slow frame ### issue occurred [1] times",
                                                       "### lost window ### issue occurred [1] times",
                                                       "### slow frame ### issue occurred [10] times",
                                                       "### lost window ### issue occurred [10] times"}));
}

TEST(VXLogCollapse, FiveRepeatsAreNoticedTwoAreWrittenTwiceAndEachThreadHasItsOwn) {
    LogCapture log;
    for (int i = 0; i < 5; ++i)
        VX_LOG_INFO(u"same");
    VX_LOG_INFO(u"twice");
    VX_LOG_INFO(u"twice");
    std::thread([] { VX_LOG_INFO(u"twice"); }).join();
    // Two equal lines are both written, and another thread's equal line is no repeat.
    EXPECT_EQ(messages(log),
              (std::vector<std::string>{
                  "same", "The last log message in this thread was repeated 4 time(s)\n\t\"same\"", "twice",
                  "twice", "twice"}));
    EXPECT_THAT(log.bodies()[1], StartsWith("i: "));  // the notice keeps the stored level
}

TEST(VXLogCollapse, AHeldBackRepeatIsWrittenWhenItsThreadEndsAndBeforeAnythingLoggedUncollapsed) {
    const std::string notice = "The last log message in this thread was repeated 2 time(s)\n\t";
    LogCapture log;
    std::thread([] {
        for (int i = 0; i < 3; ++i)
            VX_LOG_INFO(u"ending");
    }).join();
    EXPECT_EQ(messages(log), (std::vector<std::string>{"ending", notice + "\"ending\""}));

    // Switched off: this thread's repeat at once, another thread's before its next line.
    log.clear();
    std::promise<void> repeated, switchedOff;
    std::thread other([&repeated, off = switchedOff.get_future()]() mutable {
        for (int i = 0; i < 3; ++i)
            VX_LOG_INFO(u"late");
        repeated.set_value();
        off.wait();
        VX_LOG_INFO(u"next");
    });
    repeated.get_future().wait();
    for (int i = 0; i < 3; ++i)
        VX_LOG_INFO(u"held");
    VXLog::setCollapsingEnabled(false);
    VX_LOG_INFO(u"after");
    switchedOff.set_value();
    other.join();
    VXLog::setCollapsingEnabled(true);
    EXPECT_EQ(messages(log), (std::vector<std::string>{"late", "held", notice + "\"held\"", "after",
                                                       notice + "\"late\"", "next"}));
}

TEST(VXLogCommandLine, SessionKeyAndItsValueAreHidden) {
    LogCapture log;
    const char16_t* argv[] = {u"/g", u"abc", u"/sessionKEY", u"secret", u"/ut"};
    VXLog::logCommandLine(5, argv);
    // Neither the switch nor its value reaches the log.
    EXPECT_EQ(messages(log), (std::vector<std::string>{"Commandline args: <5>", "\t/g", "\tabc", "\t/ut"}));
}

TEST(VXLogResults, LevelNamesTheResultUnlessADescriptionIsGivenAndOnlyErrorsAreLoggedIfError) {
    LogCapture log;
    VXResult late(2024, u"late");
    late.setDefaultLevel(2);
    VXLog::logResult(-1, u"Vistrel::run", late);
    VXLog::logResult(3, u"Vistrel::run", late, u"Final");
    const VXSourceLocation site("A::b", "a.cpp", 1);
    EXPECT_FALSE(VXResult(2000).logIfError(site));
    EXPECT_TRUE(VXResult(2008, u"gone").logIfError(site));
    EXPECT_FALSE(VXResult::logIfError(VXStatus::eYes, site));
    EXPECT_TRUE(VXResult::logIfError(2024, site));
    const std::string thread = "[" + VXLog::threadIdentity().toUtf8() + "] ";
    EXPECT_EQ(log.bodies(),
              (std::vector<std::string>{
                  "W: " + thread + "Warning\n\t(2024) \"VXError::eTimeout\"\n\tlate at Vistrel::run",
                  "E: " + thread + "Final\n\t(2024) \"VXError::eTimeout\"\n\tlate at Vistrel::run",
                  "E: " + thread + "Error\n\t(2008) \"VXError::eNotFound\"\n\tgone at A::b, a.cpp:1",
                  "E: " + thread + "Error\n\t(2024) \"VXError::eTimeout\" at A::b, a.cpp:1"}));
}

}  // namespace
