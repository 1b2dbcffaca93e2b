// What reaches the user unasked: alerts that other parts of the program present, and texts that a screen
// reader reads by itself.
//
// Main thread.
#pragma once

#include "ui/ContentViewState.h"

#include <deque>

/// Alerts with one button, shown one after the other. The fields are those of the alert that is up.
class Alerts : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    LUMAMON_FIELD(bool, isUp, false)
    LUMAMON_FIELD(QString, title, QString())
    LUMAMON_FIELD(QString, message, QString())
    LUMAMON_FIELD(QString, buttonTitle, QString())

    /// Shows an alert, after those that are waiting.
    Q_INVOKABLE void present(const QString &alertTitle, const QString &alertMessage, const QString &button);

    /// The user has answered the alert that is up.
    Q_INVOKABLE void dismiss();

private:
    void showFirst();

    struct Alert {
        QString title, message, buttonTitle;
    };
    std::deque<Alert> m_waiting;
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
