// The bundle's module that holds the window, as the program loads it in window mode; and the windows of a
// program that outlives them, one after the other, each with a state of its own.
//
// Main thread.
#pragma once

#include "app/WindowFrontEnd.h"
#include "ui/WindowScene.h"

class WindowModule : public QObject, public WindowFrontEnd {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID LumamonWindowFrontEnd_iid)
    Q_INTERFACES(WindowFrontEnd)

public:
    std::unique_ptr<QCoreApplication> makeApplication(int &argumentCount, char **arguments) override;
    /// Where the program stays when its window has closed, only the window's own Close button ends it, and
    /// later windows open when the user opens the program again.
    void open(std::function<void()> closing) override;
    void close() override;
    bool ownsPasteboard() const override;

    /// Opens a new window when there is none; brings it to the front otherwise.
    void reopen();
    WindowScene &scene() { return *m_scene; }

private:
    bool isOpen() const { return m_scene && m_scene->isOpen(); }
    void endWithCloseButton();

    std::unique_ptr<WindowScene> m_scene;
};
