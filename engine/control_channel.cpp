#include "engine/control_channel.h"

#include "engine/process_state.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <thread>

namespace tesk {
namespace {

constexpr std::int32_t kLineBytes = 4095;

bool asksToStop(std::string_view line) { return line == "stop" || line == "quit" || line == "cancel" || line == "q"; }

std::uintptr_t address(const char* text)
{
    return text ? static_cast<std::uintptr_t>(std::strtoull(text, nullptr, 10)) : 0;
}

} // namespace

void readControlLines(const ControlReader& reader)
{
    char buffer[kLineBytes + 1];
    for (;;) {
        const std::int32_t count = reader.read_line(reinterpret_cast<void*>(reader.queue), buffer, kLineBytes);
        if (count < 1) return;
        buffer[count < kLineBytes ? count : kLineBytes] = '\0';
        std::string_view line(buffer);
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.remove_suffix(1);
        const auto length = static_cast<int>(line.size());
        if (asksToStop(line)) {
            reader.stop_flag->exchange(1);
            std::fprintf(stderr, "[%s] host requested stop (inproc control channel)\n", reader.tag);
            return;
        }
        std::fprintf(stderr, "[%s] inproc control: ignored command '%.*s'\n", reader.tag, length, line.data());
    }
}

void startControlChannel(int argc, char** argv)
{
    std::uintptr_t queue = 0, function = 0;
    for (int i = 1; i + 1 < argc; ++i) {
        if (!argv[i]) continue;
        if (std::strcmp(argv[i], "-inproc-ctl") == 0) queue = address(argv[i + 1]);
        if (std::strcmp(argv[i], "-inproc-ctl-fn") == 0) function = address(argv[i + 1]);
    }
    if (queue == 0 || function == 0) return;
    auto reader = std::make_unique<ControlReader>(ControlReader{
        queue, reinterpret_cast<tesk_inproc_read_line>(function), &processState().host_stop_requested, "engine"});
    std::thread([own = std::move(reader)] { readControlLines(*own); }).detach();
}

} // namespace tesk
