// Runs the tests of the views.
#include "ui/WindowScene.h"

#include <QClipboard>
#include <QDir>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QtQuickTest>

// What was copied, for tests that paste.
class Pasteboard : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE void setText(const QString &text) { QGuiApplication::clipboard()->setText(text); }
    Q_INVOKABLE QString text() const { return QGuiApplication::clipboard()->text(); }
};

// A folder with files, which have no content, for tests that choose some.
class Folder : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE QString make(const QStringList &names) {
        m_folder = std::make_unique<QTemporaryDir>();
        for (const QString &name : names) {
            const QString path = m_folder->filePath(name);
            QDir().mkpath(QFileInfo(path).path());
            QFile(path).open(QIODevice::WriteOnly);
        }
        return m_folder->path();
    }

private:
    std::unique_ptr<QTemporaryDir> m_folder;
};

class Setup : public QObject {
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable() {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        registerViews();
        registerTypeface();
        qmlRegisterSingletonInstance("Pasteboard", 1, 0, "Pasteboard", &m_pasteboard);
        qmlRegisterSingletonInstance("Pasteboard", 1, 0, "Folder", &m_folder);
    }

    void qmlEngineAvailable(QQmlEngine *engine) { engine->addImportPath(QStringLiteral("qrc:/")); }

private:
    Pasteboard m_pasteboard;
    Folder m_folder;
};

QUICK_TEST_MAIN_WITH_SETUP(views, Setup)

#include "ViewTests.moc"
