// Tells a screen reader of a text that changes without the user's doing: the status line, an error.
#pragma once

#include <QObject>
#include <QtQmlIntegration>

class Announcer : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    /// `item` has the role of a notification, and its name is what is to be read. In the next turn of the
    /// main thread, when the name has followed what it is made of. Main thread.
    Q_INVOKABLE void announce(QObject *item);

Q_SIGNALS:
    /// Also without a screen reader.
    void announced(QObject *item);
};
