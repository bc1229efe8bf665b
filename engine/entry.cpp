// The exported functions: start-up in its fixed order, and the choice of the mode.
#include "engine/base/report.h"
#include "engine/base/status.h"
#include "engine/control_channel.h"
#include "engine/forward_run.h"
#include "engine/process_state.h"
#include "engine/reverse_run.h"
#include "platform/locale.h"
#include "platform/process.h"
#include "public/tesk_engine.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

namespace tesk {
namespace {

int runMain(int argc, char** argv)
{
    bool hosted = false;
    for (int i = 1; i < argc; ++i) hosted = hosted || (argv[i] && std::strcmp(argv[i], "-inproc-host") == 0);
    if (hosted) platform::rebindStandardStreams();
    startControlChannel(argc, argv);
    trace("entry");
    if (const int pending = processState().pending_exit_code.exchange(-1); pending >= 0) return pending;

    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) arguments.emplace_back(argv[i] ? argv[i] : "");
    if (processState().process_owner.load() != 1) platform::useUtf8Console();
    processState().run_result = 0;
    if (std::find(arguments.begin(), arguments.end(), "--reverse") != arguments.end()) return runReverse(arguments);
    return runForward(arguments);
}

} // namespace
} // namespace tesk

extern "C" int tesk_engine_main(int argc, char** argv)
{
    // Hosts of any locale, hosts in any language: points stay decimal points, and no exception crosses to them.
    const tesk::platform::CLocale locale;
    try {
        return tesk::runMain(argc, argv);
    } catch (const std::exception& error) {
        tesk::report_essential(stderr, "Fatal: %s\n", error.what());
    } catch (...) {
        tesk::report_essential(stderr, "Fatal: unknown error\n");
    }
    tesk::log_close();
    return DSD_ERROR;
}

extern "C" int tesk_engine_set_process_owner(int owner)
{
    tesk::processState().process_owner.store(owner != 0);
    return owner != 0;
}
