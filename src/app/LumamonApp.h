// The application: it owns the delegate and the event loop.
#pragma once

#include "app/AppDelegate.h"

class LumamonApp {
public:
    /// Runs the application to its end and gives the process's exit status.
    static int run(int argumentCount, char **arguments);
};
