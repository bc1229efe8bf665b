// A folder of one's own and the outside programs that read what was written there.
#pragma once

#include "engine/base/reporter.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace tesk::analysis {

class AnalysisTest : public testing::Test {
protected:
    AnalysisTest()
    {
        static std::atomic<int> serial{0};
        folder_ = std::filesystem::temp_directory_path() / format("tesk-analysis-%d-%d", getpid(), ++serial);
        std::filesystem::create_directories(folder_);
    }
    ~AnalysisTest() override { std::filesystem::remove_all(folder_); }

    std::string at(const std::string& name) const { return (folder_ / name).string(); }
    std::string contents(const std::string& name) const
    {
        std::ifstream in(at(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    void save(const std::string& name, const std::string& text) const
    {
        std::ofstream(at(name), std::ios::binary) << text;
    }

    /// What a shell command in the folder prints; it must end well and without a word on standard error.
    std::string run(const std::string& command) const
    {
        const std::string line = "cd '" + folder_.string() + "' && { " + command + "; } >printed 2>complaints";
        EXPECT_EQ(std::system(line.c_str()), 0) << command << "\n" << contents("complaints");
        EXPECT_EQ(contents("complaints"), "") << command;
        return contents("printed");
    }

    static std::vector<std::string> lines(const std::string& text)
    {
        std::vector<std::string> out;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);) out.push_back(line);
        return out;
    }

    /// The number behind every occurrence of `key`.
    static std::vector<double> numbersAfter(const std::string& text, const std::string& key)
    {
        std::vector<double> out;
        for (std::size_t i = text.find(key); i != std::string::npos; i = text.find(key, i + 1))
            out.push_back(std::strtod(text.c_str() + i + key.size(), nullptr));
        return out;
    }

    CollectingReporter report;

private:
    std::filesystem::path folder_;
};

} // namespace tesk::analysis
