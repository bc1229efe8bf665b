// Facts of the running process.
#pragma once

namespace tesk::platform {

int processId();

/// Points descriptors 0, 1 and 2 at the process's standard handles for a host that runs the engine in
/// process. Only systems whose run-time keeps its own descriptors need it; elsewhere it does nothing.
void rebindStandardStreams();

/// Switches the console to UTF-8 output where it is not so already.
void useUtf8Console();

} // namespace tesk::platform
