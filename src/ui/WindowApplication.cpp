#include "ui/WindowApplication.h"

#include "discovery/Constants.h"
#include "platform/posix/Fatal.h"
#include "ui/Views.h"

#include <QApplication>
#include <QQuickWindow>

namespace {

// Qt ends a process that finds no display by a crash, after a page of advice; a user who starts the program
// over a remote shell wants to be told in one line.
void sayThatThereIsNoDisplay(QtMsgType type, const QMessageLogContext &, const QString &) {
    if (type != QtFatalMsg)
        return;
    platform::fatal("the window cannot be opened: there is no display");
}

} // namespace

std::unique_ptr<QCoreApplication> makeWindowApplication(int &argumentCount, char **arguments) {
    // A graphics driver may be what is broken on this machine.
    if (!qEnvironmentVariableIsSet("QT_QUICK_BACKEND"))
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    const auto before = qInstallMessageHandler(sayThatThereIsNoDisplay);
    auto application = std::make_unique<QApplication>(argumentCount, arguments);
    qInstallMessageHandler(before);
    QGuiApplication::setApplicationDisplayName(LabelConstants::ApplicationDisplayName);
    QGuiApplication::setDesktopFileName(QStringLiteral("com.brennic.LumadocDiagnostics"));
    registerViews();
    return application;
}
