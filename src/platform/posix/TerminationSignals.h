// The system's requests to end: log-out, a closed terminal, Ctrl-C, a service manager.
#pragma once

#include <functional>

namespace platform {

/// From now on such a request does not end the process itself. The first one calls `stopPrograms` at once, so
/// that a main thread which waits for a program goes on, and then `end` in a turn of the event loop; every
/// further one ends the process on the spot, and so do 2 seconds in which it has not ended. A request that
/// whoever started the process had it ignore stays ignored. Once, on the main thread, with the application
/// object standing.
void onTerminationRequest(std::function<void()> end);

} // namespace platform
