// The window on the screen: it joins the views to the state, to the system's appearance and to the alerts.
//
// Main thread; made after the application object and gone before it.
#pragma once

#include "platform/Appearance.h"
#include "ui/Alerts.h"
#include "ui/ContentView.h"

#include <QQmlApplicationEngine>

class WindowScene {
public:
    WindowScene();
    ~WindowScene();

    /// Loads the views, shows the window and brings it to the front. False when the views cannot be loaded.
    bool open();

private:
    ContentView m_view;
    Alerts m_alerts;
    platform::Appearance m_appearance;
    // Last, so that the views go before what they show.
    QQmlApplicationEngine m_engine;
};
