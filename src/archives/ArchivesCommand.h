// The command `lumadoc-diagnostics-archives`: lists, shows, sends and removes what runs could not send. Its
// manual page says how it is used.
#pragma once

namespace archives {

enum ExitStatus { done = 0, failed = 1, wrongUsage = 2, unknownId = 3, runUnderWay = 4 };

/// Does what the command line asks for and gives the process's exit status. Results go to standard output,
/// what went wrong to standard error, and progress there too when that is a terminal. Main thread, once.
int runArchivesCommand(int argumentCount, char **arguments);

} // namespace archives
