// The installed-applications report as a program: the applications of this machine and user on standard
// output.
#pragma once

namespace system_profiler {

/// Runs the program and gives its exit status: 0 when the whole report was written, 1 when it could not be
/// written, 2 for a command line that it does not know. Anything but 0 comes with a line on standard error.
int run(int argumentCount, char **arguments);

} // namespace system_profiler
