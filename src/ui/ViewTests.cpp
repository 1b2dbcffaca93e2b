// Runs the views' tests, which stand in viewtests/.
#include "ui/Views.h"

#include <QAccessible>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QtQuickTest>

// What a screen reader was told to read by itself, in order.
class Announcements : public QObject {
    Q_OBJECT
    Q_PROPERTY(QStringList texts READ texts)

public:
    static Announcements &shared() {
        static Announcements announcements;
        return announcements;
    }

    QStringList texts() const { return m_texts; }
    Q_INVOKABLE void clear() { m_texts.clear(); }

    static void take(QAccessibleEvent *event) {
        if (event->type() == QAccessible::Alert)
            shared().m_texts.append(event->accessibleInterface()->text(QAccessible::Name));
    }

private:
    QStringList m_texts;
};

class Setup : public QObject {
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable() {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        QAccessible::setActive(true);
        QAccessible::installUpdateHandler(Announcements::take);
        registerViews();
        qmlRegisterSingletonInstance("ViewTests", 1, 0, "Announcements", &Announcements::shared());
    }

    void qmlEngineAvailable(QQmlEngine *engine) { engine->addImportPath(QStringLiteral("qrc:/")); }
};

QUICK_TEST_MAIN_WITH_SETUP(views, Setup)

#include "ViewTests.moc"
