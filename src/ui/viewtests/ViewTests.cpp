// Runs the tests of the views.
#include "ui/WindowScene.h"

#include <QQmlEngine>
#include <QQuickWindow>
#include <QtQuickTest>

class Setup : public QObject {
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable() {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        registerViews();
        registerTypeface();
    }

    void qmlEngineAvailable(QQmlEngine *engine) { engine->addImportPath(QStringLiteral("qrc:/")); }
};

QUICK_TEST_MAIN_WITH_SETUP(views, Setup)

#include "ViewTests.moc"
