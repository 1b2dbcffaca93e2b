#include "ui/WindowScene.h"

#include "discovery/Constants.h"
#include "discovery/ProductDiscovery.h"
#include "platform/Bundle.h"
#include "platform/Desktop.h"
#include "platform/posix/Fatal.h"
#include "ui/Notices.h"

#include <QFileInfo>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QIcon>
#include <algorithm>

// Written by the build from the types that are marked for the views. Called by name, since a linker leaves
// out those parts of a static library that nothing refers to.
void qml_register_types_Lumamon();

namespace {

// Qt ends a process that finds no display by a crash, after a page of advice. A user who starts the program
// over a remote shell needs one line.
void reportMissingDisplay(QtMsgType type, const QMessageLogContext &, const QString &) {
    if (type == QtFatalMsg)
        platform::fatal(
            "the window cannot be opened: there is no display. Start the program on a desktop, or "
            "with /silent, which needs none.");
}

// The parts of the window that are made when they are needed use these modules of Qt. Without one of them the
// window opens, and stops halfway.
QString missingModule(const QStringList &folders) {
    for (const char *name : {"QtQuick/Layouts", "QtQuick/Templates"}) {
        const QString module = QString::fromLatin1(name);
        const auto holds = [&](const QString &folder) {
            return QFileInfo::exists(folder + u'/' + module + QStringLiteral("/qmldir"));
        };
        if (std::ranges::none_of(folders, holds))
            return QStringLiteral("Qt's module %1 is not installed").arg(module);
    }
    return {};
}

// What the views show, made anew for each window.
template <typename Type>
Type *singleton(QQmlEngine &engine, const char *name) {
    return engine.singletonInstance<Type *>(qmlTypeId("Lumamon", 1, 0, name));
}

} // namespace

std::unique_ptr<QCoreApplication> makeWindowApplication(int &argumentCount, char **arguments) {
    // A graphics driver may be what is broken on this machine.
    if (!qEnvironmentVariableIsSet("QT_QUICK_BACKEND"))
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    const auto before = qInstallMessageHandler(reportMissingDisplay);
    auto application = std::make_unique<QGuiApplication>(argumentCount, arguments);
    qInstallMessageHandler(before);
    QGuiApplication::setApplicationDisplayName(LabelConstants::ApplicationDisplayName);
    QGuiApplication::setDesktopFileName(QStringLiteral("com.brennic.LumadocDiagnostics"));
    registerViews();
    return application;
}

void registerViews() {
    qml_register_types_Lumamon();
}

// The window's faces are the typeface of the build under the names that the views use.
void registerTypeface() {
    for (const char *face : {"Regular", "Bold"}) {
        const QString name = QString::fromLatin1(face);
        QFontDatabase::addApplicationFont(QStringLiteral(":/Lumamon/fonts/Inter-%1.otf").arg(name));
        QFont::insertSubstitution(QStringLiteral("BrennicClean-") + name, QStringLiteral("Inter"));
    }
}

WindowScene::WindowScene()
    : m_view(singleton<ContentView>(m_engine, "ContentView"))
    , m_appearance([this](platform::ColorScheme scheme) {
        m_view->colorScheme = scheme == platform::ColorScheme::dark ? ContentView::ColorScheme::dark
                                                                    : ContentView::ColorScheme::light;
    })
    , m_component(&m_engine) {
    m_engine.addImportPath(QStringLiteral("qrc:/"));
    m_component.loadUrl(QUrl(QStringLiteral("qrc:/Lumamon/qml/Main.qml")), QQmlComponent::Asynchronous);
    registerTypeface();
    QObject::connect(&m_component, &QQmlComponent::statusChanged, m_view, [this] { openWhenLoaded(); });
    const auto &bundle = platform::Bundle::main();
    m_view->isStandaloneVersion = bundle && bundle->flag("LumamonStandaloneVersion").value_or(false);
    UtilityFunctions::alertPresenter =
        std::bind_front(&Alerts::present, singleton<Alerts>(m_engine, "Alerts"));
}

WindowScene::~WindowScene() {
    UtilityFunctions::alertPresenter = nullptr;
}

void WindowScene::open(std::function<void()> closing, std::function<void()> opened) {
    m_closing = std::move(closing);
    m_opened = std::move(opened);
    openWhenLoaded();
}

void WindowScene::openWhenLoaded() {
    if (!m_closing || m_component.isLoading() || m_window)
        return;
    const QString missing = missingModule(m_engine.importPathList());
    // Creating what could not be loaded crashes.
    if (m_component.isReady() && missing.isEmpty())
        m_window.reset(qobject_cast<QQuickWindow *>(m_component.create()));
    if (!m_window) {
        const QString reason = missing.isEmpty() ? m_component.errorString().simplified() : missing;
        std::fprintf(stderr, "Brennic_Lumadoc_Diagnostics: the window cannot be opened: %s\n",
                     reason.toUtf8().constData());
        QCoreApplication::exit(EXIT_FAILURE);
        return;
    }
    QObject::connect(m_view, &ContentView::closeRequested, m_window.get(), &QWindow::close);
    QObject::connect(m_view, &ContentView::disappearing, m_view, m_closing);
    // After the first frame: drawing the icon takes as long as drawing the window.
    const auto finish = [this] {
        m_window->setIcon(QIcon(QStringLiteral(":/Lumamon/assets/light/lumadocdiagnosticlogo.svg")));
        m_opened();
    };
    QObject::connect(m_window.get(), &QQuickWindow::frameSwapped, m_window.get(), finish,
                     Qt::ConnectionType(Qt::QueuedConnection | Qt::SingleShotConnection));
    if (!platform::hasDefaultWindowSize())
        m_window->resize(m_window->minimumSize());
    bringToFront();
}

void WindowScene::bringToFront() {
    if (!m_window)
        return;
    m_window->setWindowStates(m_window->windowStates() & ~Qt::WindowMinimized);
    m_window->raise();
    m_window->requestActivate();
}
