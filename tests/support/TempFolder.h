#pragma once

// TempFolder — an empty folder for the life of a test, and short ways to look into it.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "Base/Platform/Platform.h"

namespace px::test {

template <class Base = testing::Test>
class InTempFolder : public Base {
protected:
    InTempFolder()
        : root_(std::filesystem::temp_directory_path() /
                ("px_test_" + std::to_string(os::Os().processId())))
    {
        // One that was killed may have had the same number.
        std::filesystem::remove_all(root_);
        std::filesystem::create_directories(root_);
    }
    ~InTempFolder() override { std::filesystem::remove_all(root_); }

    std::string Path(const std::string& name) const { return (root_ / name).string(); }

    // Writes a file, and the folders above it.
    void Write(const std::string& name, const std::string& bytes) const
    {
        std::filesystem::create_directories((root_ / name).parent_path());
        std::ofstream(root_ / name, std::ios::binary) << bytes;
    }

    static std::string Content(const std::string& path)
    {
        std::ostringstream text;
        text << std::ifstream(path, std::ios::binary).rdbuf();
        return text.str();
    }

    std::filesystem::path root_;
};

using TempFolder = InTempFolder<>;

}  // namespace px::test
