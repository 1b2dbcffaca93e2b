// The window on the screen: it joins the views to the state, to the system's appearance and to the alerts.
//
// Main thread; made after the application object and gone before it.
#pragma once

#include "platform/Desktop.h"
#include "ui/Alerts.h"
#include "ui/ContentView.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <functional>
#include <memory>

class WindowScene {
public:
    /// Begins to load the views, on a thread of the engine's own.
    WindowScene();
    ~WindowScene();

    /// Shows the window and brings it to the front as soon as the views are loaded. When they cannot be, the
    /// event loop ends with status 1 and standard error tells why. `closing` is called when the window is
    /// asked to close, before its own steps.
    void open(std::function<void()> closing = [] {});

    ContentView &view() { return m_view; }

private:
    void openWhenLoaded();

    ContentView m_view;
    Alerts m_alerts;
    platform::Appearance m_appearance;
    bool m_isWanted = false;
    std::function<void()> m_closing;
    QQmlEngine m_engine;
    QQmlComponent m_component;
    // Last, so that the views go before what they show.
    std::unique_ptr<QQuickWindow> m_window;
};
