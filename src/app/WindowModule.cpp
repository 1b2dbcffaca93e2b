// The bundle's module that holds the window, as the program loads it in window mode.
#include "app/WindowFrontEnd.h"
#include "platform/Desktop.h"
#include "ui/WindowScene.h"

class WindowModule : public QObject, public WindowFrontEnd {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID LumamonWindowFrontEnd_iid)
    Q_INTERFACES(WindowFrontEnd)

public:
    std::unique_ptr<QCoreApplication> makeApplication(int &argumentCount, char **arguments) override {
        auto application = makeWindowApplication(argumentCount, arguments);
        m_scenes = std::make_unique<WindowScenes>();
        return application;
    }

    void open(std::function<void()> closing) override { m_scenes->open(std::move(closing)); }

    void close() override { m_scenes.reset(); }

    bool ownsPasteboard() const override { return platform::ownsPasteboard(); }

private:
    std::unique_ptr<WindowScenes> m_scenes;
};

#include "WindowModule.moc"
