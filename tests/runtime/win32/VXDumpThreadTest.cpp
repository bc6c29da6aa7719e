#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "LogText.h"
#include "VXDumpFile.h"
#include "VXDumpText.h"

namespace {

bool exists(const VXString& path) {
    return GetFileAttributesW(path.wstr()) != INVALID_FILE_ATTRIBUTES;
}

// Names of the entries of a folder, "." and ".." left out.
std::vector<std::string> entriesOf(const VXString& folder) {
    std::vector<std::string> names;
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((folder + u"*").wstr(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return names;
    do {
        const VXString name = VXString::fromWide(found.cFileName);
        if (name != u"." && name != u"..")
            names.push_back(name.toUtf8());
    } while (FindNextFileW(search, &found));
    FindClose(search);
    return names;
}

// Each test writes into a folder of its own under the temporary folder and removes it.
class VXMiniDumpFolder : public ::testing::Test {
protected:
    void SetUp() override {
        _folder = VXMiniDump::defaultFolder() + vxFormat(u"test_%u\\", GetCurrentProcessId());
        VXMiniDump::setFolder(_folder);
        ASSERT_TRUE(exists(_folder));
    }
    void TearDown() override {
        VXMiniDump::setFolder(VXString());
        for (const std::string& name : entriesOf(_folder))
            DeleteFileW((_folder + VXString::fromUtf8(name)).wstr());
        RemoveDirectoryW(_folder.wstr());
    }
    VXString _folder;
};

TEST_F(VXMiniDumpFolder, SetFolderLogsItAndFileNamesCount) {
    LogCapture log;
    const VXString nested = _folder + u"a\\b";
    VXMiniDump::setFolder(nested);
    EXPECT_TRUE(exists(nested));
    VXMiniDump::setFolder(VXString());
    EXPECT_EQ(messages(log), (std::vector<std::string>{": " + nested.toUtf8() + "\\", ": (empty)"}));
    RemoveDirectoryW(nested.wstr());
    RemoveDirectoryW((_folder + u"a").wstr());

    VXMiniDump::setFolder(_folder);
    const std::string first = VXMiniDump::nextFileName().toUtf8();
    const std::string second = VXMiniDump::nextFileName().toUtf8();
    const std::string prefix =
        _folder.toUtf8() + "vx_runtime_win32_tests_" + std::to_string(GetCurrentProcessId()) + "_";
    ASSERT_EQ(first.rfind(prefix, 0), 0u) << first;
    ASSERT_EQ(second.rfind(prefix, 0), 0u) << second;
    const int number = std::stoi(first.substr(prefix.size()));
    EXPECT_EQ(first.substr(prefix.size()), (number < 10 ? "0" : "") + std::to_string(number) + ".dmp");
    EXPECT_EQ(std::stoi(second.substr(prefix.size())), number + 1);
}

TEST_F(VXMiniDumpFolder, DumpFileIsDeletedOnCloseAndZeroedAfterLogging) {
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
    ASSERT_EQ(dumps.size(), 1u);
    EXPECT_EQ(std::string(dumps[0].begin(), dumps[0].end()), content);

    std::string after(content.size(), 'x');
    DWORD read = 0;
    SetFilePointer(file, 0, nullptr, FILE_BEGIN);
    ASSERT_TRUE(ReadFile(file, after.data(), static_cast<DWORD>(after.size()), &read, nullptr));
    EXPECT_EQ(read, content.size());
    EXPECT_EQ(after, std::string(content.size(), '\0'));
    CloseHandle(file);
    EXPECT_FALSE(exists(path));
}

TEST_F(VXMiniDumpFolder, FailuresAreLoggedAndStop) {
    LogCapture log;
    const VXString missing = _folder + u"no\\such\\folder\\x.dmp";
    EXPECT_EQ(VXMiniDump::createFile(missing), nullptr);
    ASSERT_EQ(messages(log).size(), 1u);
    EXPECT_EQ(messages(log)[0], "Failed to create file " + missing.toUtf8() + "; last OS error = 3.");

    log.clear();
    const HANDLE empty = VXMiniDump::createFile(VXMiniDump::nextFileName());
    ASSERT_NE(empty, nullptr);
    EXPECT_FALSE(VXMiniDump::logFile(empty));
    CloseHandle(empty);
    ASSERT_EQ(messages(log).size(), 1u);
    EXPECT_EQ(messages(log)[0].rfind("File size is too big or invalid. Last error = ", 0), 0u)
        << messages(log)[0];
}

}  // namespace
