// The end of a run, however far the run has come.
#pragma once

/// Gives the process until shortly before 2 seconds from now to end; then it ends with `status`, wherever it
/// is. The first call counts. Any thread.
void limitTheEnd(int status = 0);

/// Stops what still works, in this order: an upload, the programs that run, a capture; then puts the
/// product's logging back if it is still switched on. Main thread, once, behind the event loop.
///
/// Never takes 2 seconds. Where something hangs that long, or a step of the capture still runs behind its
/// wait, the process ends here with `status`, and nothing is destroyed that such a step may use. What a run
/// that ended like this left switched on is put back by the next one.
void endRun(int status);
