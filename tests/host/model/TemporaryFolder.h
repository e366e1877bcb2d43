// A folder that exists for one test, and small helpers to fill it with files.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

/// Made empty for the running test, removed with all that is in it at the end.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        auto const* test = testing::UnitTest::GetInstance()->current_test_info();
        m_path = std::filesystem::temp_directory_path() /
                 (std::string("scenecull-") + test->test_suite_name() + "-" + test->name() + "-" +
                  std::to_string(reinterpret_cast<uintptr_t>(this)));
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directories(m_path);
    }

    ~TemporaryFolder()
    {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }

    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;

    std::string GetPath(std::string const& name = {}) const
    {
        return name.empty() ? m_path.string() : (m_path / name).string();
    }

    /// Writes a file and returns its path.
    std::string Write(std::string const& name, std::string_view content) const
    {
        std::ofstream file(m_path / name, std::ios::binary);
        file << content;
        return GetPath(name);
    }

    static std::string Read(std::string const& path)
    {
        std::ifstream file(path, std::ios::binary);
        std::ostringstream content;
        content << file.rdbuf();
        return content.str();
    }

private:
    std::filesystem::path m_path;
};
