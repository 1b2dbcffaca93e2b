// What reaches the user unasked: alerts that other parts of the program present, and texts that a screen
// reader reads by itself.
//
// Main thread.
#pragma once

#include "ui/ContentViewState.h"

#include <QStringList>

/// Alerts with one button, shown one after the other.
class Alerts : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    LUMAMON_FIELD(bool, isUp, false)
    /// Title, message and caption of the button, of the alert that is or was up last.
    LUMAMON_FIELD(QStringList, texts, QStringList(3))

    /// Shows an alert, after those that are waiting.
    Q_INVOKABLE void present(const QString &title, const QString &message, const QString &buttonTitle);

    /// The user has answered the alert that is up.
    Q_INVOKABLE void dismiss();

private:
    void showNext();

    QList<QStringList> m_waiting;
};

/// For a text that changes without the user's doing: the status line, an error.
class Announcer : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    /// Has a screen reader read the name of `item`, which has the role of a notification. In the next turn of
    /// the main thread, when the name has followed what it is made of.
    Q_INVOKABLE void announce(QObject *item);

Q_SIGNALS:
    /// Also without a screen reader.
    void announced(QObject *item);
};
