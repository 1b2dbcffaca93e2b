// Runs the tests of the views.
#include "ui/WindowScene.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QtQuickTest>

// What was copied, for tests that paste.
class Pasteboard : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE void setText(const QString &text) { QGuiApplication::clipboard()->setText(text); }
    Q_INVOKABLE QString text() const { return QGuiApplication::clipboard()->text(); }
};

class Setup : public QObject {
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable() {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        registerViews();
        registerTypeface();
        qmlRegisterSingletonInstance("Pasteboard", 1, 0, "Pasteboard", &m_pasteboard);
    }

    void qmlEngineAvailable(QQmlEngine *engine) { engine->addImportPath(QStringLiteral("qrc:/")); }

private:
    Pasteboard m_pasteboard;
};

QUICK_TEST_MAIN_WITH_SETUP(views, Setup)

#include "ViewTests.moc"
