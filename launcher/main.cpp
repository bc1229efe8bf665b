// The command-line program: the engine in a process of its own, stopped by Ctrl-C or a closed terminal.
#include "public/inproc_ctl.h"
#include "public/tesk_engine.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

int stopPipe[2] = {-1, -1};
volatile std::sig_atomic_t signalsSeen = 0;

/// The first signal asks the engine to stop, which keeps what was written; the second ends the process at once. A
/// terminal that closes sends its own more than once.
extern "C" void onSignal(int signal)
{
    if (signalsSeen != 0 && signal == SIGHUP) return;
    if (signalsSeen != 0) _exit(128 + signal);
    signalsSeen = 1;
    const char byte = 's';
    [[maybe_unused]] const ssize_t written = write(stopPipe[1], &byte, 1);
}

extern "C" int32_t readLine(void* queue, char* buffer, int32_t size)
{
    char byte = 0;
    ssize_t count = 0;
    do count = read(static_cast<int*>(queue)[0], &byte, 1);
    while (count < 0 && errno == EINTR);
    if (count < 1 || size < 5) return 0;
    std::memcpy(buffer, "stop\n", 5);
    return 5;
}

/// Descriptors 0 to 2 that the caller closed: whatever is opened next would take their place, and text for
/// standard error would end up in the music. Writing to what fills them fails, as it did.
void fillStandardDescriptors()
{
    int descriptor = 0;
    do descriptor = open("/dev/null", O_RDONLY);
    while (descriptor >= 0 && descriptor <= 2);
    if (descriptor > 2) close(descriptor);
}

void installSignals()
{
    struct sigaction action {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    struct sigaction hangup {};
    if (sigaction(SIGHUP, nullptr, &hangup) == 0 && hangup.sa_handler != SIG_IGN) // nohup wants to go on
        sigaction(SIGHUP, &action, nullptr);
    // A player that closes its end of the pipe shall end in an error text, not in a silent death.
    std::signal(SIGPIPE, SIG_IGN);
}

} // namespace

int main(int argc, char** argv)
{
    fillStandardDescriptors();
    std::vector<std::string> channel;
    if (pipe(stopPipe) == 0) {
        installSignals();
        channel = {"-inproc-ctl", std::to_string(reinterpret_cast<std::uintptr_t>(stopPipe)), "-inproc-ctl-fn",
                   std::to_string(reinterpret_cast<std::uintptr_t>(&readLine))};
    }
    // In front of the user's words: behind them, an option whose value is missing would swallow them.
    std::vector<char*> arguments(argv, argv + (argc > 0 ? 1 : 0));
    for (std::string& word : channel) arguments.push_back(word.data());
    for (int i = 1; i < argc; ++i) arguments.push_back(argv[i]);
    arguments.push_back(nullptr);
    tesk_engine_set_process_owner(1);
    return tesk_engine_main(static_cast<int>(arguments.size()) - 1, arguments.data());
}
