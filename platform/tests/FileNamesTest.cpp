// Renaming and removing files by name, and telling a terminal from a file:
// what an atomic output (write beside, rename over) and a progress display
// stand on.
#include <fcntl.h>
#include <pty.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "zqplatform/fileapi.h"
#include "zqplatform/status.h"

namespace {

class FileNamesTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_folder = std::filesystem::temp_directory_path() /
                   ("zqnames-" + std::to_string(::getpid()) + "-" +
                    ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directories(m_folder);
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

    std::u16string Write(const char* name, const std::string& content) {
        std::ofstream(m_folder / name, std::ios::binary) << content;
        return (m_folder / name).u16string();
    }
    std::string Read(const char* name) {
        std::ifstream in(m_folder / name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }

    std::filesystem::path m_folder;
};

TEST_F(FileNamesTest, MoveReplacesTheTargetOnlyWhenAsked) {
    const std::u16string from = Write("new", "new content");
    const std::u16string to = Write("old", "old content");

    EXPECT_FALSE(MoveFileExW(from.c_str(), to.c_str(), 0));
    EXPECT_EQ(ERROR_ALREADY_EXISTS, GetLastError());
    EXPECT_EQ("old content", Read("old"));
    EXPECT_EQ("new content", Read("new"));

    ASSERT_TRUE(MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
    EXPECT_EQ("new content", Read("old"));
    EXPECT_FALSE(std::filesystem::exists(m_folder / "new"));
}

TEST_F(FileNamesTest, MoveAndDeleteReportWhatIsMissing) {
    const std::u16string missing = (m_folder / "missing").u16string();
    const std::u16string target = (m_folder / "target").u16string();
    EXPECT_FALSE(MoveFileExW(missing.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, GetLastError());
    EXPECT_FALSE(DeleteFileW(missing.c_str()));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, GetLastError());
    EXPECT_FALSE(MoveFileExW(nullptr, target.c_str(), 0));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
    EXPECT_FALSE(DeleteFileW(u""));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
}

TEST_F(FileNamesTest, DeleteRemovesAFileButNoFolder) {
    const std::u16string file = Write("file", "x");
    EXPECT_TRUE(DeleteFileW(file.c_str()));
    EXPECT_FALSE(std::filesystem::exists(m_folder / "file"));
    EXPECT_FALSE(DeleteFileW(m_folder.u16string().c_str()));
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
    EXPECT_TRUE(std::filesystem::is_directory(m_folder));
}

TEST(Terminal, TellsATerminalFromAFileAndRefusesOtherStreams) {
    // Standard error goes to a terminal for a moment, then to a file.
    const int saved = ::dup(STDERR_FILENO);
    int leader = -1;
    int follower = -1;
    ASSERT_EQ(0, ::openpty(&leader, &follower, nullptr, nullptr, nullptr));
    ::dup2(follower, STDERR_FILENO);
    const BOOL onTerminal = ZQIsTerminal(STD_ERROR_HANDLE);
    FILE* file = std::tmpfile();
    ::dup2(::fileno(file), STDERR_FILENO);
    const BOOL onFile = ZQIsTerminal(STD_ERROR_HANDLE);
    ::dup2(saved, STDERR_FILENO);
    ::close(saved);
    ::close(leader);
    ::close(follower);
    std::fclose(file);

    EXPECT_TRUE(onTerminal);
    EXPECT_FALSE(onFile);
    EXPECT_FALSE(ZQIsTerminal(0));
    EXPECT_FALSE(ZQIsTerminal(STD_ERROR_HANDLE - 1));
}

}  // namespace
