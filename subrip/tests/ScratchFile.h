// Files written byte for byte into a private temporary folder for the
// reader's and the parser's tests.
#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

namespace zqsubriptest {

/// A file that exists for the life of the object. A random token per process
/// keeps test programs that run at once apart.
class ScratchFile {
public:
    explicit ScratchFile(std::string_view bytes) {
        static const unsigned s_token = std::random_device{}();
        static int s_serial = 0;
        std::filesystem::path folder = std::filesystem::temp_directory_path() / "zq-subrip-tests";
        std::filesystem::create_directories(folder);
        m_path = folder / ("f" + std::to_string(s_token) + "-" + std::to_string(++s_serial) + ".srt");
        std::ofstream out(m_path, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    ~ScratchFile() {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    const std::filesystem::path& Path() const { return m_path; }
    /// The path as the reader takes it.
    std::u16string WidePath() const { return m_path.u16string(); }

private:
    std::filesystem::path m_path;
};

}  // namespace zqsubriptest
