#include <gtest/gtest.h>

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
    t = VXSystemTime{};
    t.year = 2027, t.month = 1, t.day = 1, t.hour = 7, t.minute = 59, t.second = 59, t.milliseconds = 999;
    EXPECT_EQ(VXLogFormatter::formatTimestamp(t).toUtf8(), "2026-12-31 23:59:59.999 PST");
    t.hour = 8, t.minute = 0, t.second = 0, t.milliseconds = 0;
    EXPECT_EQ(VXLogFormatter::formatTimestamp(t).toUtf8(), "2027-01-01 00:00:00.000 PST");
}

TEST(VXLogLine, PiecesInOrderAndOnlyWhenPresent) {
    VXLogFormatter f;
    VXLogData d;
    d.level = 2;
    d.thread = u"17";
    d.file = u"vxevent.cpp";
    d.tag = u"net";
    d.function = u"VXEvent::set";
    d.message = u"hello";
    VXString line;
    ASSERT_TRUE(f.formatLine(d, u"2024-01-01 00:00:00.000 PST", line).isSuccess());
    EXPECT_EQ(line.toUtf8(), "2024-01-01 00:00:00.000 PST W: [17] <vxevent.cpp> {net} VXEvent::set - hello");
    VXLogData bare;
    bare.level = -1;
    bare.message = u"m";
    ASSERT_TRUE(f.formatLine(bare, VXString(), line).isSuccess());
    EXPECT_EQ(line.toUtf8(), "m");
    for (int level : {4, 7, -2}) {
        bare.level = level;
        EXPECT_TRUE(f.formatLine(bare, VXString(), line).isError()) << level;
    }
    const char* prefixes[] = {"d: ", "i: ", "W: ", "E: ", nullptr, "s: ", "C: "};
    for (int level = 0; level <= 6; ++level) {
        bare.level = level;
        if (prefixes[level] == nullptr) continue;
        ASSERT_TRUE(f.formatLine(bare, VXString(), line).isSuccess());
        EXPECT_EQ(line.toUtf8(), std::string(prefixes[level]) + "m");
    }
}

TEST(VXLogLine, LongMessageIsCutToTheLineLimit) {
    VXLogFormatter f;
    VXLogData d;
    d.level = 3;
    d.function = u"F::g";
    d.message = VXString(u'x', 65534);
    VXString line;
    ASSERT_TRUE(f.formatLine(d, u"2024-01-01 00:00:00.000 PST", line).isSuccess());
    EXPECT_EQ(line.length(), VXLogFormatter::kMaxLineLength);
}

TEST(VXLogPipeline, LineCarriesLevelThreadFileAndFunction) {
    LogCapture log;
    VX_LOG_WARNING(u"disk %d%% full", 93);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    const std::string expected = " W: [" + VXLog::threadIdentity().toUtf8() + "] <VXLogTest.cpp> ";
    EXPECT_NE(lines[0].find(expected), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("LineCarriesLevelThreadFileAndFunction_Test::TestBody - disk 93% full"), std::string::npos)
        << lines[0];
    EXPECT_EQ(lines[0].find(" PST "), 23u);
}

TEST(VXLogPipeline, LevelFourAndEmptyFormatsProduceNothing) {
    LogCapture log;
    VX_LOG(4, u"never");
    VX_LOG(7, u"never");
    VX_LOG(1, u"");
    VXLog::log(1, nullptr, nullptr, nullptr);
    EXPECT_TRUE(log.lines().empty());
}

TEST(VXLogCollapse, FiveRepeatsThenAnotherMessage) {
    LogCapture log;
    for (int i = 0; i < 5; ++i) VX_LOG_INFO(u"same");
    VX_LOG_INFO(u"other");
    const auto lines = log.bodies();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NE(lines[0].find(" - same"), std::string::npos);
    EXPECT_NE(lines[1].find(" - The last log message in this thread was repeated 4 time(s)\n\t\"same\""),
              std::string::npos)
        << lines[1];
    EXPECT_EQ(lines[1].rfind("i: ", 0), 0u);  // the notice keeps the stored level
    EXPECT_NE(lines[2].find(" - other"), std::string::npos);
}

TEST(VXLogCollapse, TwoRepeatsWriteTheMessageTwice) {
    LogCapture log;
    VX_LOG_INFO(u"twice");
    VX_LOG_INFO(u"twice");
    VX_LOG_INFO(u"next");
    const auto lines = log.bodies();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], lines[1]);
    EXPECT_NE(lines[2].find(" - next"), std::string::npos);
    for (const auto& l : lines) EXPECT_EQ(l.find("repeated"), std::string::npos);
}

TEST(VXLogCollapse, IsPerThreadAndCanBeSwitchedOff) {
    LogCapture log;
    VX_LOG_INFO(u"shared text");
    std::thread([] { VX_LOG_INFO(u"shared text"); }).join();
    EXPECT_EQ(log.lines().size(), 2u);  // another thread's identical text is not a repeat
    log.clear();
    VXLog::setCollapsingEnabled(false);
    for (int i = 0; i < 3; ++i) VX_LOG_INFO(u"plain");
    VXLog::setCollapsingEnabled(true);
    EXPECT_EQ(log.lines().size(), 3u);
}

TEST(VXLogCommandLine, SessionKeyAndItsValueAreHidden) {
    LogCapture log;
    const char16_t* argv[] = {u"/g", u"abc", u"/sessionKEY", u"secret", u"/ut"};
    VXLog::logCommandLine(5, argv);
    const auto lines = log.bodies();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_NE(lines[0].find("Commandline args: <5>"), std::string::npos);
    EXPECT_NE(lines[1].find("\t/g"), std::string::npos);
    EXPECT_NE(lines[2].find("\tabc"), std::string::npos);
    EXPECT_NE(lines[3].find("\t/ut"), std::string::npos);
    for (const auto& l : lines) EXPECT_EQ(l.find("secret"), std::string::npos);
    for (const auto& l : lines) EXPECT_EQ(l.rfind("i: ", 0), 0u);
}

TEST(VXLogResults, LogResultUsesDefaultLevelAndDescription) {
    LogCapture log;
    VXResult r(2024, u"late");
    r.setDefaultLevel(2);
    VXLog::logResult(-1, u"Vistrel::run", r);
    VXLog::logResult(3, u"Vistrel::run", r, u"Final");
    const auto lines = log.bodies();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].rfind("W: ", 0), 0u);
    EXPECT_NE(lines[0].find("Warning\n\t(2024) \"VXError::eTimeout\"\n\tlate at Vistrel::run"), std::string::npos);
    EXPECT_NE(lines[1].find("E: "), std::string::npos);
    EXPECT_NE(lines[1].find("Final\n\t(2024)"), std::string::npos);
}

TEST(VXLogResults, ComErrorNamesTheSiteAndTheHResult) {
    LogCapture log;
    VXLog::logComError(static_cast<int32_t>(0x80004005), VXSourceLocation("D3D::create", "d3d.cpp", 5));
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_NE(log.lines()[0].find("D3D::create, d3d.cpp:5- Method \"<COM call>\" returned HRESULT [0X80004005]. "),
              std::string::npos);
}

TEST(VXLogListeners, BothSlotsSeeEachMessageSecondFirst) {
    struct Recorder : ILogListener {
        explicit Recorder(std::vector<std::string>& order, const char* id) : order(order), id(id) {}
        void onMessage(const VXLogData& data, const VXString& stamp) override {
            order.push_back(std::string(id) + ":" + data.message.toUtf8() + (stamp.isEmpty() ? "" : "+t"));
        }
        std::vector<std::string>& order;
        const char* id;
    };
    LogCapture log;
    std::vector<std::string> order;
    VXLog::setListener(0, std::make_shared<Recorder>(order, "first"));
    VXLog::setListener(1, std::make_shared<Recorder>(order, "second"));
    VX_LOG_DEBUG(u"hi");
    VXLog::setListener(0, nullptr);
    VXLog::setListener(1, nullptr);
    VX_LOG_DEBUG(u"after");
    EXPECT_EQ(order, (std::vector<std::string>{"second:hi+t", "first:hi+t"}));
}

TEST(VXLogTracker, ReportsFirstAndEveryTenfold) {
    LogCapture log;
    VXLogTracker tracker(u"slow readback");
    for (int i = 0; i < 100; ++i) tracker.occurred(__FILE__, "T::t");
    EXPECT_EQ(tracker.count(), 100);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NE(lines[0].find("### slow readback ### issue occurred [1] times"), std::string::npos);
    EXPECT_NE(lines[1].find("[10] times"), std::string::npos);
    EXPECT_NE(lines[2].find("[100] times"), std::string::npos);
}

TEST(VXLogBanner, StartsWithTheTimestamp) {
    VXLogCaptureTarget target;
    VXLog::logStartBanner(target);
    ASSERT_EQ(target.lines().size(), 1u);
    const std::string line = target.lines()[0].toUtf8();
    EXPECT_EQ(line.rfind("Log file started at ", 0), 0u);
    EXPECT_EQ(line.size(), std::string("Log file started at 2024-01-01 00:00:00.000 PST").size());
}

TEST(VXLogThreads, NamedThreadShowsItsName) {
    LogCapture log;
    std::thread([] {
        VXLog::setCurrentThreadName(u"DumpThread");
        VX_LOG_INFO(u"named");
    }).join();
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_NE(log.lines()[0].find("[DumpThread]"), std::string::npos);
}

}  // namespace
