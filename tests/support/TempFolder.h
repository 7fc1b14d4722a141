#pragma once

// TempFolder — an empty folder for the life of a test, and short ways to look into it.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "Base/Platform/Platform.h"

namespace px::test {

class TempFolder : public testing::Test {
protected:
    TempFolder()
        : root_(std::filesystem::temp_directory_path() /
                ("px_test_" + std::to_string(os::Os().processId())))
    {
        std::filesystem::create_directories(root_);
    }
    ~TempFolder() override { std::filesystem::remove_all(root_); }

    std::string Path(const std::string& name) const { return (root_ / name).string(); }

    static std::string Content(const std::string& path)
    {
        std::ostringstream text;
        text << std::ifstream(path, std::ios::binary).rdbuf();
        return text.str();
    }

    std::filesystem::path root_;
};

}  // namespace px::test
