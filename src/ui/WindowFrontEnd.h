// What the program knows of its window. The window stands in a module of its own that is loaded in window
// mode only: silent mode does not pay for a graphical interface, and needs none to be installed.
#pragma once

#include <QCoreApplication>
#include <QtPlugin>
#include <functional>
#include <memory>

class WindowFrontEnd {
public:
    virtual ~WindowFrontEnd() = default;

    /// The application object that a window needs. Ends the process with one line on standard error when
    /// there is no display. Main thread, first.
    virtual std::unique_ptr<QCoreApplication> makeApplication(int &argumentCount, char **arguments) = 0;

    /// Opens the diagnostics window in a later turn of the event loop and brings it to the front; the end of
    /// the program follows its closing, of which `closing` is told before anything else is done. When it
    /// cannot be made, the event loop ends with status 1 and standard error tells why. Main thread.
    virtual void open(std::function<void()> closing) = 0;

    /// Takes the window down. Main thread, while the application object still stands.
    virtual void close() = 0;

    /// Whether the pasteboard holds what the user copied in the window. Main thread, as long as the
    /// application object stands.
    virtual bool ownsPasteboard() const = 0;
};

#define LumamonWindowFrontEnd_iid "com.brennic.LumadocDiagnostics.WindowFrontEnd"
Q_DECLARE_INTERFACE(WindowFrontEnd, LumamonWindowFrontEnd_iid)
