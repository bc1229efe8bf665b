// What the tests of loaded libraries share.
#pragma once

#include "platform/dynamic_library.h"
#include "tests/input/load_fixture.h"

#include <dlfcn.h>
#include <latch>
#include <thread>

namespace tesk {

inline const std::string kFakes = TEST_FAKES;

inline std::string fake(const std::string& name) { return kFakes + name + platform::kLibrarySuffix; }

inline bool isLoaded(const std::string& path)
{
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle) dlclose(handle);
    return handle != nullptr;
}

/// What four threads get that call at the same time.
template <class Call>
auto fromFourThreads(const Call& call)
{
    std::vector<decltype(call())> answers(4);
    std::latch together(4);
    std::vector<std::thread> threads;
    for (auto& answer : answers)
        threads.emplace_back([&] {
            together.arrive_and_wait();
            answer = call();
        });
    for (std::thread& thread : threads) thread.join();
    return answers;
}

/// Stereo or more as `sample(frame, channel)` has it: frames `begin` up to `end`.
template <class Sample>
Noise noiseOf(std::uint32_t channels, std::uint64_t begin, std::uint64_t end, const Sample& sample)
{
    Noise noise{"", channels, {}, {}};
    for (std::uint64_t i = begin; i < end; ++i)
        for (std::uint32_t c = 0; c < channels; ++c) noise.truth.push_back(sample(i, c));
    return noise;
}

} // namespace tesk
