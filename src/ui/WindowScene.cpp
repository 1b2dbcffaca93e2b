#include "ui/WindowScene.h"

#include "discovery/ProductDiscovery.h"
#include "platform/Bundle.h"

#include <QIcon>
#include <QQuickWindow>

namespace {

ContentView::ColorScheme schemeOf(platform::ColorScheme scheme) {
    return scheme == platform::ColorScheme::dark ? ContentView::ColorScheme::dark
                                                 : ContentView::ColorScheme::light;
}

} // namespace

WindowScene::WindowScene()
    : m_appearance([this](platform::ColorScheme scheme) { m_view.colorScheme = schemeOf(scheme); }) {
    const auto &bundle = platform::Bundle::main();
    m_view.isStandaloneVersion = bundle && bundle->flag("LumamonStandaloneVersion").value_or(false);
    UtilityFunctions::alertPresenter = [this](const QString &title, const QString &message,
                                              const QString &buttonTitle) {
        m_alerts.present(title, message, buttonTitle);
    };
}

WindowScene::~WindowScene() {
    UtilityFunctions::alertPresenter = nullptr;
}

bool WindowScene::open() {
    m_engine.addImportPath(QStringLiteral("qrc:/"));
    m_engine.setInitialProperties({{QStringLiteral("view"), QVariant::fromValue(&m_view)},
                                   {QStringLiteral("alerts"), QVariant::fromValue(&m_alerts)}});
    m_engine.load(QUrl(QStringLiteral("qrc:/Lumamon/qml/Main.qml")));
    auto *window = qobject_cast<QQuickWindow *>(m_engine.rootObjects().value(0));
    if (!window)
        return false;
    // Drawing it takes as long as drawing the window.
    QObject::connect(
        window, &QQuickWindow::frameSwapped, window,
        [window] { window->setIcon(QIcon(QStringLiteral(":/Lumamon/assets/light/lumadocdiagnosticlogo.svg"))); },
        Qt::ConnectionType(Qt::QueuedConnection | Qt::SingleShotConnection));
    QObject::connect(&m_view, &ContentView::closeRequested, window, &QWindow::close);
    window->raise();
    window->requestActivate();
    return true;
}
