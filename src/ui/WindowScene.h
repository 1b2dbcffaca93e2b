// Opens the window: the application object, what the views need before the first of them is shown, and the
// scene that joins the views to the state, to the system's appearance and to the alerts.
//
// Main thread.
#pragma once

#include "platform/Desktop.h"
#include "ui/ContentView.h"

#include <QCoreApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <functional>
#include <memory>

/// The application object of window mode. Without a display the process ends with one line on standard error
/// and status 1.
std::unique_ptr<QCoreApplication> makeWindowApplication(int &argumentCount, char **arguments);

/// Makes the views' types known. Once, after the application object.
void registerViews();

/// Makes the window's typeface known. Takes a while, since the system looks for its fonts. Once, after the
/// application object.
void registerTypeface();

/// Made after the application object and destroyed before it.
class WindowScene {
public:
    /// Begins to load the views, on the engine's thread.
    WindowScene();
    ~WindowScene();

    /// Shows the window and brings it to the front as soon as the views are loaded. When they cannot be, the
    /// event loop ends with status 1 and standard error says why. `closing` is called when the window is
    /// asked to close, before the window does anything itself; `opened` after the first frame.
    void open(
        std::function<void()> closing = [] {}, std::function<void()> opened = [] {});

    ContentView &view() { return *m_view; }

    /// Whether the window is shown, or will be.
    bool isOpen() const { return m_closing && (!m_window || m_window->isVisible()); }
    void bringToFront();

private:
    void openWhenLoaded();

    QQmlEngine m_engine;
    // The engine's.
    ContentView *m_view = nullptr;
    platform::Appearance m_appearance;
    // Set once the window is wanted.
    std::function<void()> m_closing;
    std::function<void()> m_opened;
    QQmlComponent m_component;
    // Last, so that the views are destroyed before what they show.
    std::unique_ptr<QQuickWindow> m_window;
};
