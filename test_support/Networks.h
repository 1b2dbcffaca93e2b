// Networks that lead nowhere, for the process that enters them.
//
// Each is a function that does system calls alone, so that it can be called between fork and exec. They end
// the process with status 126 when the machine does not let them.
#pragma once

namespace test_support {

/// No interface is up, not even the loopback.
void enterNoNetwork();
/// One interface is up, and no route leads beyond its own network; whatever is sent into that is lost.
void enterLonelyNetwork();

/// Whether this machine lets a test enter that network.
bool canEnter(void (*network)());

} // namespace test_support
