// Alerts with one button that other parts of the program ask for: shown one after the other.
//
// Main thread.
#pragma once

#include <QObject>
#include <QProperty>
#include <QString>
#include <QtQmlIntegration>
#include <deque>

class Alerts : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool isUp READ isUp BINDABLE isUpBinding)
    Q_PROPERTY(QString title READ title BINDABLE titleBinding)
    Q_PROPERTY(QString message READ message BINDABLE messageBinding)
    Q_PROPERTY(QString buttonTitle READ buttonTitle BINDABLE buttonTitleBinding)

public:
    using QObject::QObject;

    /// Shows an alert, after those that are waiting.
    Q_INVOKABLE void present(const QString &title, const QString &message, const QString &buttonTitle);

    /// The user has answered the alert that is up.
    Q_INVOKABLE void dismiss();

    bool isUp() const { return m_isUp; }
    QString title() const { return m_title; }
    QString message() const { return m_message; }
    QString buttonTitle() const { return m_buttonTitle; }
    QBindable<bool> isUpBinding() { return {&m_isUp}; }
    QBindable<QString> titleBinding() { return {&m_title}; }
    QBindable<QString> messageBinding() { return {&m_message}; }
    QBindable<QString> buttonTitleBinding() { return {&m_buttonTitle}; }

private:
    struct Alert {
        QString title;
        QString message;
        QString buttonTitle;
    };
    void showFirst();

    std::deque<Alert> m_waiting;
    QProperty<bool> m_isUp{false};
    QProperty<QString> m_title;
    QProperty<QString> m_message;
    QProperty<QString> m_buttonTitle;
};
