// Runs the tests of the views.
#include "ui/WindowScene.h"

#include <QClipboard>
#include <QDir>
#include <QGuiApplication>
#include <QMetaProperty>
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

// The state of the run, for tests that begin where the program does.
class Program : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE void restart(QObject *state) {
        const ContentView initial;
        const QMetaObject &type = ContentView::staticMetaObject;
        for (int i = 0; i < type.propertyCount(); ++i) {
            const QMetaProperty field = type.property(i);
            if (field.isBindable() && !field.bindable(state).hasBinding())
                field.write(state, field.read(&initial));
        }
    }
};

class Setup : public QObject {
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable() {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        registerViews();
        registerTypeface();
        qmlRegisterSingletonInstance("Surroundings", 1, 0, "Pasteboard", &m_pasteboard);
        qmlRegisterSingletonInstance("Surroundings", 1, 0, "Folder", &m_folder);
        qmlRegisterSingletonInstance("Surroundings", 1, 0, "Program", &m_program);
    }

    void qmlEngineAvailable(QQmlEngine *engine) { engine->addImportPath(QStringLiteral("qrc:/")); }

private:
    Pasteboard m_pasteboard;
    Folder m_folder;
    Program m_program;
};

QUICK_TEST_MAIN_WITH_SETUP(views, Setup)

#include "ViewTests.moc"
