#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "VXDumpFile.h"
#include "VXDumpText.h"
#include "support/LogCapture.h"

namespace {

bool exists(const VXString& path) {
    return GetFileAttributesW(path.wstr()) != INVALID_FILE_ATTRIBUTES;
}

// Each test writes into a folder of its own under the temporary folder and removes it.
class VXMiniDumpFolder : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(VXMiniDump::defaultFolder().endsWith(u"\\TesseraDumps\\").code(), VXStatus::eYes);
        _folder = VXMiniDump::defaultFolder() + vxFormat(u"test_%u\\", GetCurrentProcessId());
        VXMiniDump::setFolder(_folder);
        ASSERT_TRUE(exists(_folder));
    }
    void TearDown() override {
        VXMiniDump::setFolder(VXString());
        RemoveDirectoryW(_folder.wstr());
    }
    VXString _folder;
};

TEST_F(VXMiniDumpFolder, DumpFileIsDeletedOnCloseAndZeroedAfterLoggingAndAMissingFolderIsLogged) {
    const VXString path = VXMiniDump::nextFileName();
    const HANDLE file = VXMiniDump::createFile(path);
    ASSERT_NE(file, nullptr);
    std::string content = "MDMP";
    for (int i = 0; i < 20000; ++i)
        content += "line " + std::to_string(i % 300) + "\n";
    DWORD written = 0;
    ASSERT_TRUE(WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr));
    EXPECT_TRUE(exists(path));

    LogCapture log;
    ASSERT_TRUE(VXMiniDump::logFile(file));
    std::vector<std::vector<uint8_t>> dumps;
    ASSERT_TRUE(VXDumpText::extract(joinLines(log.lines()), dumps).isSuccess());
    EXPECT_EQ(dumps, (std::vector<std::vector<uint8_t>>{{content.begin(), content.end()}}));

    std::string after(content.size(), 'x');  // a short read leaves an 'x' behind
    DWORD read = 0;
    SetFilePointer(file, 0, nullptr, FILE_BEGIN);
    ASSERT_TRUE(ReadFile(file, after.data(), static_cast<DWORD>(after.size()), &read, nullptr));
    EXPECT_EQ(after, std::string(content.size(), '\0'));
    CloseHandle(file);
    EXPECT_FALSE(exists(path));

    log.clear();
    const VXString missing = _folder + u"no\\such\\folder\\x.dmp";
    EXPECT_EQ(VXMiniDump::createFile(missing), nullptr);
    EXPECT_EQ(messages(log),
              std::vector<std::string>{"Failed to create file " + missing.toUtf8() + "; last OS error = 3."});
}

}  // namespace
