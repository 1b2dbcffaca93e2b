// What the program knows of its window. The window is a module that is loaded in window mode only: silent
// mode does not pay for a graphical interface, and needs none to be installed.
//
// Main thread.
#pragma once

#include <QCoreApplication>
#include <QtPlugin>
#include <functional>
#include <memory>

class WindowFrontEnd {
public:
    virtual ~WindowFrontEnd() = default;

    /// The application object that a window needs; comes first. Without a display it ends the process with
    /// one line on standard error and status 1.
    virtual std::unique_ptr<QCoreApplication> makeApplication(int &argumentCount, char **arguments) = 0;

    /// Opens the diagnostics window in a later turn of the event loop and brings it to the front. The program
    /// ends after the window is closed; `closing` is called first of all. When the window cannot be made, the
    /// event loop ends with status 1 and standard error says why.
    virtual void open(std::function<void()> closing) = 0;

    /// Takes the window down, before the application object is destroyed.
    virtual void close() = 0;

    /// Whether the pasteboard holds what the user copied in the window. Needs the application object.
    virtual bool ownsPasteboard() const = 0;
};

#define LumamonWindowFrontEnd_iid "com.brennic.LumadocDiagnostics.WindowFrontEnd"
Q_DECLARE_INTERFACE(WindowFrontEnd, LumamonWindowFrontEnd_iid)
