#include "app/WindowModule.h"

#include "platform/Bundle.h"
#include "platform/Desktop.h"

#include <QGuiApplication>

std::unique_ptr<QCoreApplication> WindowModule::makeApplication(int &argumentCount, char **arguments) {
    auto application = makeWindowApplication(argumentCount, arguments);
    // Begins to load the views at once.
    m_scene = std::make_unique<WindowScene>();
    return application;
}

void WindowModule::open(std::function<void()> closing) {
    if (platform::outlivesItsWindow()) {
        QGuiApplication::setQuitOnLastWindowClosed(false);
        closing = [] {};
        endWithCloseButton();
    }
    m_scene->open(std::move(closing), [this] {
        const auto &bundle = platform::Bundle::main();
        const auto identifier = bundle ? bundle->identifier() : std::nullopt;
        platform::onReopen(identifier.value_or(QString()), [this] {
            if (isOpen() || platform::outlivesItsWindow())
                reopen();
        });
    });
}

void WindowModule::close() {
    m_scene.reset();
}

bool WindowModule::ownsPasteboard() const {
    return platform::ownsPasteboard();
}

void WindowModule::reopen() {
    if (isOpen())
        return m_scene->bringToFront();
    // The last one takes its alerts with it.
    m_scene.reset();
    m_scene = std::make_unique<WindowScene>();
    endWithCloseButton();
    m_scene->open();
}

void WindowModule::endWithCloseButton() {
    QObject::connect(&m_scene->view(), &ContentView::closeRequested, QCoreApplication::instance(),
                     &QCoreApplication::quit);
}
