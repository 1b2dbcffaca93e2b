// Runs the tests of the views.
#include "ui/WindowScene.h"

#include <QClipboard>
#include <QDir>
#include <QGuiApplication>
#include <QMetaProperty>
#include <QPointingDevice>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QWheelEvent>
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

// Two fingers, as systems report them; the tests of Qt Quick have a mouse only.
class Touchpad : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE void scroll(QQuickItem *item, int pixels) {
        const QPointF place = item->mapToScene({item->width() / 2, item->height() / 2});
        QWheelEvent event(place, item->window()->mapToGlobal(place), {0, pixels}, {0, pixels}, Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false, Qt::MouseEventSynthesizedBySystem,
                          &m_device);
        QCoreApplication::sendEvent(item->window(), &event);
    }

private:
    QPointingDevice m_device{QStringLiteral("touchpad"),
                             1,
                             QInputDevice::DeviceType::TouchPad,
                             QPointingDevice::PointerType::Finger,
                             QInputDevice::Capability::Position | QInputDevice::Capability::PixelScroll,
                             2,
                             0};
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
        qmlRegisterSingletonInstance("Surroundings", 1, 0, "Touchpad", &m_touchpad);
    }

    void qmlEngineAvailable(QQmlEngine *engine) { engine->addImportPath(QStringLiteral("qrc:/")); }

private:
    Pasteboard m_pasteboard;
    Folder m_folder;
    Program m_program;
    Touchpad m_touchpad;
};

QUICK_TEST_MAIN_WITH_SETUP(views, Setup)

#include "ViewTests.moc"
