#include "ui/Notices.h"

#include <QAccessible>

void Alerts::present(const QString &alertTitle, const QString &alertMessage, const QString &button) {
    m_waiting.push_back({alertTitle, alertMessage, button});
    if (!isUp)
        showFirst();
}

void Alerts::dismiss() {
    isUp = false;
    // Whoever watches the change may have presented one more, which put the first of them up.
    if (!isUp && !m_waiting.empty())
        showFirst();
}

void Alerts::showFirst() {
    const Alert alert = m_waiting.front();
    m_waiting.pop_front();
    title = alert.title;
    message = alert.message;
    buttonTitle = alert.buttonTitle;
    isUp = true;
}

void Announcer::announce(QObject *item) {
    const auto notify = [this, item] {
        Q_EMIT announced(item);
        if (!QAccessible::isActive())
            return;
        // A notification is read when it comes up; Qt 6.4 has no event for one that changes.
        QAccessibleEvent event(item, QAccessible::ObjectShow);
        QAccessible::updateAccessibility(&event);
    };
    QMetaObject::invokeMethod(item, notify, Qt::QueuedConnection);
}
