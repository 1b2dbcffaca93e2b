// The application: it starts, runs the event loop, and ends, however far the run has come.
#pragma once

class LumamonApp {
public:
    /// Runs the application to its end and gives the process's exit status. Main thread, once.
    static int run(int argumentCount, char **arguments);

    /// Gives the process until shortly before 2 seconds from now to end; then it ends with `status`, wherever
    /// it is. The first call counts. Any thread.
    static void limitTheEnd(int status);

    /// Stops whatever is still running, in this order: an upload, other programs, a capture. Then puts the
    /// product's logging back if it is still switched on. Main thread, once, after the event loop has ended.
    ///
    /// Never takes 2 seconds. Where something hangs that long, or a step of the capture does not stop, the
    /// process ends here with `status`, and nothing is destroyed that such a step may use. What a run that
    /// ended like this left switched on is put back by the next one.
    static void endRun(int status);
};
