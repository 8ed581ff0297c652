// The registry: keys and values, the text form, the merged classes view, and
// two hives shared by processes that write at once or die while writing.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "tests/support/TemporaryRegistry.h"
#include "zqplatform/registry.h"


namespace {

using zqtest::GetRegistryText;
using zqtest::RegistryKeyExists;
using zqtest::SetRegistryText;


std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

/// Starts the registry writer (tests/helpers/RegistryWriter.cpp), a second
/// process with the same registry, writing `count` values "<prefix><n>"
/// (without end for 0). Answers its process id.
pid_t StartChild(const std::string& prefix, int count) {
    std::string program = ZQ_REGISTRY_WRITER;
    std::string first = prefix;
    std::string second = std::to_string(count);
    char* argv[] = {program.data(), first.data(), second.data(), nullptr};
    pid_t pid = ::fork();
    if (pid == 0) {
        ::execv(program.c_str(), argv);
        ::_exit(127);
    }
    return pid;
}

int WaitForExit(pid_t pid) {
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

DWORD CountValues(HKEY root, const char16_t* path, const std::u16string& prefix, int count) {
    DWORD found = 0;
    for (int i = 0; i < count; ++i) {
        std::u16string name = prefix;
        for (char c : std::to_string(i))
            name += static_cast<char16_t>(c);
        if (GetRegistryText(root, path, name.c_str()))
            ++found;
    }
    return found;
}

class RegistryTest : public ::testing::Test {
protected:
    zqtest::TemporaryRegistry m_registry;
};

TEST_F(RegistryTest, CreatesOpensAndReadsKeysWithoutRegardToCase) {
    HKEY key = nullptr;
    DWORD disposition = 0;
    ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExW(HKEY_CURRENT_USER, u"Software\\Kestrix\\Sub", 0, nullptr, 0, KEY_WRITE,
                                             nullptr, &key, &disposition));
    EXPECT_EQ(REG_CREATED_NEW_KEY, disposition);
    RegCloseKey(key);
    ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExW(HKEY_CURRENT_USER, u"SOFTWARE\\kestrix\\SUB", 0, nullptr, 0, KEY_WRITE,
                                             nullptr, &key, &disposition));
    EXPECT_EQ(REG_OPENED_EXISTING_KEY, disposition);
    const char16_t text[] = u"value";
    ASSERT_EQ(ERROR_SUCCESS, RegSetValueExW(key, u"Name", 0, REG_SZ, reinterpret_cast<const BYTE*>(text), sizeof text));
    RegCloseKey(key);

    EXPECT_EQ(u"value", GetRegistryText(HKEY_CURRENT_USER, u"software\\KESTRIX\\sub", u"NAME"));
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Kestrix\\Sub", 0, KEY_READ, &key));
    DWORD size = 0;
    DWORD type = 0;
    EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExW(key, u"Name", nullptr, &type, nullptr, &size));
    EXPECT_EQ(sizeof text, size);
    EXPECT_EQ(REG_SZ, type);
    BYTE small[4];
    size = sizeof small;
    EXPECT_EQ(static_cast<LSTATUS>(ERROR_MORE_DATA), RegQueryValueExW(key, u"Name", nullptr, nullptr, small, &size));
    EXPECT_EQ(sizeof text, size);
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegQueryValueExW(key, u"Other", nullptr, nullptr, nullptr, &size));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegQueryValueExW(key, nullptr, nullptr, nullptr, nullptr, &size));
    RegCloseKey(key);
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Nothing", 0, KEY_READ, &key));
    EXPECT_EQ(nullptr, key);
}

TEST_F(RegistryTest, RefusesBadNamesAndHandles) {
    HKEY key = nullptr;
    EXPECT_EQ(ERROR_INVALID_PARAMETER,
              RegCreateKeyExW(HKEY_CURRENT_USER, u"\\Leading", 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr));
    EXPECT_EQ(ERROR_INVALID_PARAMETER,
              RegCreateKeyExW(HKEY_CURRENT_USER, u"A\\\\B", 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr));
    std::u16string tooLong(256, u'x');
    EXPECT_EQ(ERROR_INVALID_PARAMETER,
              RegCreateKeyExW(HKEY_CURRENT_USER, tooLong.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr));
    int notAKey = 0;
    EXPECT_EQ(ERROR_INVALID_HANDLE, RegCloseKey(reinterpret_cast<HKEY>(&notAKey)));
    EXPECT_FALSE(std::filesystem::exists(m_registry.UserHive()));
}

struct RoundTripCase {
    const char* m_label;
    std::u16string m_keyName;
    std::u16string m_valueName;
    DWORD m_type;
    std::vector<BYTE> m_data;
};

std::vector<BYTE> TextBytes(const std::u16string& text) {
    std::vector<BYTE> data;
    for (char16_t c : text) {
        data.push_back(static_cast<BYTE>(c));
        data.push_back(static_cast<BYTE>(c >> 8));
    }
    data.push_back(0);
    data.push_back(0);
    return data;
}

class RegistryRoundTripTest : public RegistryTest, public ::testing::WithParamInterface<RoundTripCase> {};

TEST_P(RegistryRoundTripTest, ReadsBackWhatItWroteThroughTheFile) {
    const RoundTripCase& value = GetParam();
    std::u16string path = u"Software\\" + value.m_keyName;
    HKEY key = nullptr;
    ASSERT_EQ(ERROR_SUCCESS,
              RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr));
    ASSERT_EQ(ERROR_SUCCESS, RegSetValueExW(key, value.m_valueName.c_str(), 0, value.m_type, value.m_data.data(),
                                            static_cast<DWORD>(value.m_data.size())));
    RegCloseKey(key);
    // Every line of the file is printable text, whatever the value holds.
    std::string file = ReadFile(m_registry.UserHive());
    for (char c : file)
        EXPECT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= 0x20) << "control byte in the hive file";

    // Another file in between makes the registry read the hive file again.
    {
        zqtest::TemporaryRegistry other;
        EXPECT_FALSE(RegistryKeyExists(HKEY_CURRENT_USER, path.c_str()));
    }
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, &key));
    std::vector<BYTE> data(value.m_data.size() + 8);
    DWORD size = static_cast<DWORD>(data.size());
    DWORD type = 0;
    ASSERT_EQ(ERROR_SUCCESS, RegQueryValueExW(key, value.m_valueName.c_str(), nullptr, &type, data.data(), &size));
    RegCloseKey(key);
    EXPECT_EQ(value.m_type, type);
    data.resize(size);
    EXPECT_EQ(value.m_data, data);
}

INSTANTIATE_TEST_SUITE_P(
    Values, RegistryRoundTripTest,
    ::testing::Values(
        RoundTripCase{"Plain", u"Plain", u"", REG_SZ, TextBytes(u"ZQMuxSubtitle Class")},
        RoundTripCase{"Delimiters", u"Brackets]And%Percent", u"Quote\"Name", REG_SZ,
                      TextBytes(u"it's \"quoted\" 100% [x] \\path\\")},
        RoundTripCase{"LineEnds", u"Lines", u"Text", REG_SZ, TextBytes(u"one\ntwo\r\nthree\tfour")},
        RoundTripCase{"BeyondAscii", u"\u00C9t\u00E9", u"\u65E5\u672C", REG_SZ,
                      TextBytes(u"\u00E9\u4E2D\U0001F600 \xFFFD")},
        RoundTripCase{"LoneSurrogate", u"Lone", u"Half", REG_SZ, TextBytes(std::u16string(1, u'\xD800') + u"x")},
        RoundTripCase{"TextWithoutNul", u"NoNul", u"v", REG_SZ, {0x41, 0x00}},
        RoundTripCase{"TextWithInnerNul", u"InnerNul", u"v", REG_SZ, {0x41, 0, 0, 0, 0x42, 0, 0, 0}},
        RoundTripCase{"Number", u"Number", u"Flags", REG_DWORD, {0x78, 0x56, 0x34, 0x12}},
        RoundTripCase{"Bytes", u"Bytes", u"Blob", REG_BINARY, {0x00, 0xFF, 0x0A, 0x0D, 0x25}},
        RoundTripCase{"Empty", u"Empty", u"Nothing", REG_BINARY, {}}),
    [](const ::testing::TestParamInfo<RoundTripCase>& param) { return std::string(param.param.m_label); });

TEST_F(RegistryTest, DeleteKeyRefusesSubkeysWhileDeleteTreeTakesAll) {
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Software\\Tree\\Leaf", u"v", u"1"));
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Software\\Tree", u"v", u"2"));
    HKEY leaf = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Tree\\Leaf", 0, KEY_READ, &leaf));

    EXPECT_EQ(ERROR_ACCESS_DENIED, RegDeleteKeyW(HKEY_CURRENT_USER, u"Software\\Tree"));
    EXPECT_EQ(ERROR_SUCCESS, RegDeleteValueW(leaf, u"v"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegDeleteValueW(leaf, u"v"));
    EXPECT_EQ(ERROR_SUCCESS, RegDeleteTreeW(HKEY_CURRENT_USER, u"Software\\Tree"));
    EXPECT_FALSE(RegistryKeyExists(HKEY_CURRENT_USER, u"Software\\Tree"));
    EXPECT_TRUE(RegistryKeyExists(HKEY_CURRENT_USER, u"Software"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegDeleteTreeW(HKEY_CURRENT_USER, u"Software\\Tree"));

    // A handle outlives its key but can't bring it back.
    const char16_t text[] = u"x";
    EXPECT_EQ(static_cast<LSTATUS>(ERROR_KEY_DELETED),
              RegSetValueExW(leaf, u"v", 0, REG_SZ, reinterpret_cast<const BYTE*>(text), sizeof text));
    HKEY child = nullptr;
    EXPECT_EQ(static_cast<LSTATUS>(ERROR_KEY_DELETED),
              RegCreateKeyExW(leaf, u"Child", 0, nullptr, 0, KEY_WRITE, nullptr, &child, nullptr));
    EXPECT_EQ(ERROR_SUCCESS, RegCloseKey(leaf));
    EXPECT_FALSE(RegistryKeyExists(HKEY_CURRENT_USER, u"Software\\Tree"));

    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Software\\Keep\\Sub", u"v", u"1"));
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Software\\Keep", u"v", u"1"));
    HKEY keep = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Keep", 0, KEY_READ, &keep));
    EXPECT_EQ(ERROR_SUCCESS, RegDeleteTreeW(keep, nullptr));
    RegCloseKey(keep);
    EXPECT_TRUE(RegistryKeyExists(HKEY_CURRENT_USER, u"Software\\Keep"));
    EXPECT_FALSE(RegistryKeyExists(HKEY_CURRENT_USER, u"Software\\Keep\\Sub"));
    EXPECT_FALSE(GetRegistryText(HKEY_CURRENT_USER, u"Software\\Keep", u"v"));
}

std::vector<std::u16string> EnumerateKeys(HKEY root, const char16_t* path) {
    std::vector<std::u16string> names;
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, path, 0, KEY_READ, &key) != ERROR_SUCCESS)
        return names;
    for (DWORD index = 0;; ++index) {
        char16_t name[256];
        DWORD length = 256;
        if (RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        names.emplace_back(name, length);
    }
    RegCloseKey(key);
    return names;
}

TEST_F(RegistryTest, ClassesViewReadsTheUsersKeyBeforeTheMachines) {
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_LOCAL_MACHINE, u"Software\\Classes\\Both", nullptr, u"machine"));
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Software\\Classes\\Both", nullptr, u"user"));
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_LOCAL_MACHINE, u"Software\\Classes\\bravo", nullptr, u"m"));
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Software\\Classes\\Alpha", nullptr, u"u"));

    EXPECT_EQ(u"user", GetRegistryText(HKEY_CLASSES_ROOT, u"Both", nullptr));
    EXPECT_EQ(u"m", GetRegistryText(HKEY_CLASSES_ROOT, u"Bravo", nullptr));
    EXPECT_EQ((std::vector<std::u16string>{u"Alpha", u"Both", u"bravo"}), EnumerateKeys(HKEY_CLASSES_ROOT, nullptr));

    // A new key through the merged view goes to the machine's hive; a key the
    // user has is changed in the user's.
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CLASSES_ROOT, u"Charlie", nullptr, u"new"));
    EXPECT_EQ(u"new", GetRegistryText(HKEY_LOCAL_MACHINE, u"Software\\Classes\\Charlie", nullptr));
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CLASSES_ROOT, u"Both", nullptr, u"user2"));
    EXPECT_EQ(u"user2", GetRegistryText(HKEY_CURRENT_USER, u"Software\\Classes\\Both", nullptr));
    EXPECT_EQ(u"machine", GetRegistryText(HKEY_LOCAL_MACHINE, u"Software\\Classes\\Both", nullptr));

    ASSERT_EQ(ERROR_SUCCESS, RegDeleteTreeW(HKEY_CURRENT_USER, u"Software\\Classes\\Both"));
    EXPECT_EQ(u"machine", GetRegistryText(HKEY_CLASSES_ROOT, u"Both", nullptr));
}

TEST_F(RegistryTest, SeesAFileReplacedBehindItsBackAndRefusesACutOneLeavingItAlone) {
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Software\\Seen", nullptr, u"old"));
    std::filesystem::path saved = m_registry.Folder() / "saved.reg";
    std::filesystem::copy_file(m_registry.UserHive(), saved);
    ASSERT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Software\\Seen", nullptr, u"new"));
    EXPECT_EQ(u"new", GetRegistryText(HKEY_CURRENT_USER, u"Software\\Seen", nullptr));
    std::filesystem::rename(saved, m_registry.UserHive());
    EXPECT_EQ(u"old", GetRegistryText(HKEY_CURRENT_USER, u"Software\\Seen", nullptr));

    std::string whole = ReadFile(m_registry.UserHive());
    std::string cut = whole.substr(0, whole.size() - 3);
    std::ofstream(m_registry.UserHive(), std::ios::binary | std::ios::trunc) << cut;
    HKEY key = nullptr;
    EXPECT_EQ(static_cast<LSTATUS>(ERROR_BADDB), RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Seen", 0, KEY_READ, &key));
    EXPECT_EQ(static_cast<LSTATUS>(ERROR_BADDB), SetRegistryText(HKEY_CURRENT_USER, u"Software\\Other", nullptr, u"x"));
    EXPECT_EQ(cut, ReadFile(m_registry.UserHive()));
}

TEST(RegistryHiveLocation, MachineHiveRefusesWritesFromABuildTree) {
    zqtest::TemporaryRegistry registry;
    // Without the override the machine's hive is the one under the install prefix.
    ::unsetenv("ZQPLATFORM_REGISTRY_ROOT");
    const char* oldData = std::getenv("XDG_DATA_HOME");
    std::string savedData = oldData != nullptr ? oldData : "";
    ::setenv("XDG_DATA_HOME", registry.Folder().c_str(), 1);

    HKEY key = nullptr;
    EXPECT_EQ(ERROR_ACCESS_DENIED,
              RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"Software\\ZQTest", 0, nullptr, 0, KEY_WRITE, nullptr, &key,
                              nullptr));
    EXPECT_EQ(ERROR_ACCESS_DENIED, SetRegistryText(HKEY_CLASSES_ROOT, u"ZQTest.NewClass", nullptr, u"x"));
    EXPECT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Software\\ZQTest", nullptr, u"x"));
    EXPECT_TRUE(std::filesystem::exists(registry.Folder() / "ZQPlatform" / "user.reg"));

    if (oldData != nullptr)
        ::setenv("XDG_DATA_HOME", savedData.c_str(), 1);
    else
        ::unsetenv("XDG_DATA_HOME");
}

TEST_F(RegistryTest, TwoProcessesWritingAtOnceLoseNoChange) {
    constexpr int kEach = 40;
    pid_t first = StartChild("a", kEach);
    pid_t second = StartChild("b", kEach);
    ASSERT_GT(first, 0);
    ASSERT_GT(second, 0);
    int firstStatus = WaitForExit(first);
    int secondStatus = WaitForExit(second);
    ASSERT_TRUE(WIFEXITED(firstStatus) && WEXITSTATUS(firstStatus) == 0);
    ASSERT_TRUE(WIFEXITED(secondStatus) && WEXITSTATUS(secondStatus) == 0);
    // Each write rewrites the whole file: without the lock one would drop the other's values.
    EXPECT_EQ(static_cast<DWORD>(kEach), CountValues(HKEY_CURRENT_USER, u"Software\\Shared", u"a", kEach));
    EXPECT_EQ(static_cast<DWORD>(kEach), CountValues(HKEY_CURRENT_USER, u"Software\\Shared", u"b", kEach));
}

TEST_F(RegistryTest, WriterKilledAtAnyMomentLeavesAWholeHive) {
    constexpr int kRounds = 12;
    DWORD seenBefore = 0;
    for (int round = 0; round < kRounds; ++round) {
        SCOPED_TRACE(round);
        pid_t writer = StartChild("k", 0);
        ASSERT_GT(writer, 0);
        // A different distance each round, so the kill lands in different phases of a write.
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!std::filesystem::exists(m_registry.UserHive()) && std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::microseconds(round * 1700));
        ::kill(writer, SIGKILL);
        int status = WaitForExit(writer);
        ASSERT_TRUE(WIFSIGNALED(status));

        HKEY key = nullptr;
        LSTATUS opened = RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Shared", 0, KEY_READ, &key);
        ASSERT_NE(static_cast<LSTATUS>(ERROR_BADDB), opened);
        if (opened == ERROR_SUCCESS)
            RegCloseKey(key);
        // Each round starts again from k0: the hive holds at least what it held before.
        DWORD seen = CountValues(HKEY_CURRENT_USER, u"Software\\Shared", u"k", 400);
        EXPECT_GE(seen, seenBefore);
        seenBefore = seen;
    }
    // The hive is still writable after all that.
    EXPECT_EQ(ERROR_SUCCESS, SetRegistryText(HKEY_CURRENT_USER, u"Software\\After", nullptr, u"fine"));
}

}  // namespace
