// A folder of its own for every test of the batch.
#pragma once

#include "engine/base/reporter.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace tesk {

class FolderTest : public testing::Test {
protected:
    FolderTest()
    {
        static std::atomic<int> serial{0};
        folder_ = std::filesystem::temp_directory_path() / format("tesk-batch-%d-%d", getpid(), ++serial);
        std::filesystem::create_directories(folder_);
    }
    ~FolderTest() override { std::filesystem::remove_all(folder_); }

    std::string at(const std::string& name) const { return (folder_ / name).string(); }

    /// Writes a file and the folders above it.
    void save(const std::string& name, const std::string& bytes = {}) const
    {
        std::filesystem::create_directories((folder_ / name).parent_path());
        std::ofstream(at(name), std::ios::binary) << bytes;
    }

private:
    std::filesystem::path folder_;
};

} // namespace tesk
