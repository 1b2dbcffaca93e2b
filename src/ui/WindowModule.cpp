// The module's only door: the diagnostics window as the program loads it.
#include "platform/Desktop.h"
#include "ui/WindowApplication.h"
#include "ui/WindowFrontEnd.h"
#include "ui/WindowScene.h"

#include <QObject>

class WindowModule : public QObject, public WindowFrontEnd {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID LumamonWindowFrontEnd_iid)
    Q_INTERFACES(WindowFrontEnd)

public:
    std::unique_ptr<QCoreApplication> makeApplication(int &argumentCount, char **arguments) override {
        auto application = makeWindowApplication(argumentCount, arguments);
        // The views load beside the launch.
        m_scene = std::make_unique<WindowScene>();
        return application;
    }

    void open(std::function<void()> closing) override { m_scene->open(std::move(closing)); }

    void close() override { m_scene.reset(); }

    bool ownsPasteboard() const override { return platform::ownsPasteboard(); }

private:
    std::unique_ptr<WindowScene> m_scene;
};

#include "WindowModule.moc"
