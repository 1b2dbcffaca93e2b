#include "ui/WindowScene.h"

#include "discovery/ProductDiscovery.h"
#include "platform/Bundle.h"
#include "ui/Views.h"

#include <QCoreApplication>
#include <QEvent>
#include <QIcon>
#include <cstdio>

namespace {

ContentView::ColorScheme schemeOf(platform::ColorScheme scheme) {
    return scheme == platform::ColorScheme::dark ? ContentView::ColorScheme::dark
                                                 : ContentView::ColorScheme::light;
}

// Hears of the closing before the views do.
class CloseWatch : public QObject {
public:
    CloseWatch(std::function<void()> closing, QObject *parent)
        : QObject(parent)
        , m_closing(std::move(closing)) {}

    bool eventFilter(QObject *, QEvent *event) override {
        if (event->type() == QEvent::Close)
            m_closing();
        return false;
    }

private:
    std::function<void()> m_closing;
};

// Set with the first frame on the screen: drawing it takes as long as drawing the window.
void setIconLater(QQuickWindow &window) {
    const auto setIcon = [&window] {
        window.setIcon(QIcon(QStringLiteral(":/Lumamon/assets/light/lumadocdiagnosticlogo.svg")));
    };
    QObject::connect(&window, &QQuickWindow::frameSwapped, &window, setIcon,
                     Qt::ConnectionType(Qt::QueuedConnection | Qt::SingleShotConnection));
}

} // namespace

WindowScene::WindowScene()
    : m_appearance([this](platform::ColorScheme scheme) { m_view.colorScheme = schemeOf(scheme); })
    , m_component(&m_engine) {
    m_engine.addImportPath(QStringLiteral("qrc:/"));
    m_component.loadUrl(QUrl(QStringLiteral("qrc:/Lumamon/qml/Main.qml")), QQmlComponent::Asynchronous);
    registerTypeface();
    QObject::connect(&m_component, &QQmlComponent::statusChanged, &m_view, [this] { openWhenLoaded(); });
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

void WindowScene::open(std::function<void()> closing) {
    m_closing = std::move(closing);
    m_isWanted = true;
    openWhenLoaded();
}

void WindowScene::openWhenLoaded() {
    if (!m_isWanted || m_component.isLoading() || m_window)
        return;
    m_window.reset(qobject_cast<QQuickWindow *>(m_component.createWithInitialProperties(
        {{QStringLiteral("view"), QVariant::fromValue(&m_view)},
         {QStringLiteral("alerts"), QVariant::fromValue(&m_alerts)}})));
    if (!m_window) {
        std::fprintf(stderr, "Brennic_Lumadoc_Diagnostics: the window cannot be opened: %s\n",
                     m_component.errorString().toUtf8().constData());
        QCoreApplication::exit(EXIT_FAILURE);
        return;
    }
    QObject::connect(&m_view, &ContentView::closeRequested, m_window.get(), &QWindow::close);
    m_window->installEventFilter(new CloseWatch(m_closing, m_window.get()));
    setIconLater(*m_window);
    m_window->raise();
    m_window->requestActivate();
}
