// The module of the bundle that holds the window.
#pragma once

class WindowFrontEnd;

/// Loads the module and gives its front end, which stays for the life of the process; null, with one line on
/// standard error, when it cannot be loaded. Main thread; needs no application object.
WindowFrontEnd *loadWindow();
