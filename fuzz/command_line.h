// A fuzzed input as a command line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// One argument per line of the input.
inline std::vector<std::string> commandLine(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::string> arguments;
    if (size > 0) arguments.emplace_back();
    for (std::size_t i = 0; i < size; ++i)
        if (data[i] == '\n')
            arguments.emplace_back();
        else
            arguments.back() += static_cast<char>(data[i]);
    return arguments;
}
