// The log file and its dumps: the user's only, never through a link, bounded in size and number.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "FileSecurity.h"
#include "LogFile.h"

namespace {

namespace fs = std::filesystem;

class LogFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        _folder = fs::temp_directory_path() / (std::string("vx-logfile-") + info->name());
        fs::remove_all(_folder);
        fs::create_directories(_folder);
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(_folder, ignored);
    }
    std::string path(const char* name) const { return (_folder / name).string(); }
    static VXString vx(const std::string& p) { return VXString::fromUtf8(p); }
    static std::string contents(const std::string& p) {
        std::ifstream in(p, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

private:
    fs::path _folder;
};

TEST_F(LogFileTest, TheLogRotatesToOnePreviousFileAtItsBoundAndEveryFileIsTheUsersOnly) {
    const std::string log = path("server.log");
    std::unique_ptr<Vistrel::LogFile> file;
    ASSERT_TRUE(Vistrel::LogFile::openAppend(vx(log), 100, file).isSuccess());
    const std::string a(60, 'a'), b(60, 'b'), c(60, 'c'), d(30, 'd'), huge(250, 'h');
    file->write(a);
    EXPECT_EQ(contents(log), a);
    EXPECT_FALSE(fs::exists(log + ".1"));
    file->write(b);  // 120 > 100: a goes to .1
    file->write(c);  // b goes to .1, replacing a
    file->write(d);  // 90 fits beside c
    EXPECT_EQ(contents(log), c + d);
    EXPECT_EQ(contents(log + ".1"), b);
    file->write(huge);  // never split: a file of its own
    EXPECT_EQ(contents(log), huge);
    EXPECT_EQ(contents(log + ".1"), c + d);
    file.reset();

    // Reopened, the size already there counts.
    ASSERT_TRUE(Vistrel::LogFile::openAppend(vx(log), 300, file).isSuccess());
    file->write(b);
    EXPECT_EQ(contents(log), b);
    EXPECT_EQ(contents(log + ".1"), huge);
    file.reset();
    for (const std::string& p : {log, log + ".1"})
        EXPECT_EQ(testsupport::ownerOnlyProblem(p), "") << p;
}

TEST_F(LogFileTest, AtMostTheBoundOfDumpsIsKeptTheNewestRenumberedFromOne) {
    const std::string log = path("crash.log");
    auto dump = [&](uint32_t n) { return log + "." + std::to_string(n) + ".dmp"; };
    for (uint32_t i = 1; i <= 5; ++i) {
        uint32_t number = 0;
        uint32_t removed = 0;
        ASSERT_TRUE(Vistrel::LogFile::nextDump(vx(log), 3, number, removed).isSuccess());
        EXPECT_EQ(number, i <= 3 ? i : 3u) << i;
        EXPECT_EQ(removed, i <= 3 ? 0u : 1u) << i;
        ASSERT_TRUE(
            Vistrel::LogFile::writeNew(vx(dump(number)), {static_cast<uint8_t>('0' + i)}).isSuccess());
    }
    EXPECT_EQ(contents(dump(1)), "3");
    EXPECT_EQ(contents(dump(2)), "4");
    EXPECT_EQ(contents(dump(3)), "5");
    EXPECT_FALSE(fs::exists(dump(4)));
    EXPECT_EQ(testsupport::ownerOnlyProblem(dump(3)), "");
    // A lower bound later drops all but the newest beside the next one; an existing dump is
    // never overwritten.
    uint32_t number = 0;
    uint32_t removed = 0;
    ASSERT_TRUE(Vistrel::LogFile::nextDump(vx(log), 2, number, removed).isSuccess());
    EXPECT_EQ(number, 2u);
    EXPECT_EQ(removed, 2u);
    EXPECT_EQ(contents(dump(1)), "5");
    EXPECT_FALSE(fs::exists(dump(3)));
    EXPECT_EQ(Vistrel::LogFile::writeNew(vx(dump(1)), {'x'}).isError(), true);
    EXPECT_EQ(contents(dump(1)), "5");
}

TEST_F(LogFileTest, ALogPathThatIsASymbolicLinkIsRefusedAndItsTargetLeftAlone) {
    const std::string target = path("elsewhere.txt");
    std::ofstream(target) << "keep";
    const std::string link = path("server.log");
    if (!testsupport::makeSymlink(link, target))
        GTEST_SKIP() << "this system cannot make a symbolic link here";
    std::unique_ptr<Vistrel::LogFile> file;
    const VXResult r = Vistrel::LogFile::openAppend(vx(link), 0, file);
    EXPECT_EQ(r.code(), 2010);
    EXPECT_NE(r.message().toUtf8().find("never written through a link"), std::string::npos)
        << r.message().toUtf8();
    EXPECT_FALSE(file);
    EXPECT_EQ(Vistrel::LogFile::writeNew(vx(link), {'x'}).isError(), true);
    EXPECT_EQ(contents(target), "keep");
}

}  // namespace
