#include "ui/Notices.h"

#include <QAccessible>

void Alerts::present(const QString &title, const QString &message, const QString &buttonTitle) {
    m_waiting.append({title, message, buttonTitle});
    showNext();
}

void Alerts::dismiss() {
    isUp = false;
    // Unless whoever watches the change has presented one more, which put the first of them up.
    showNext();
}

void Alerts::showNext() {
    if (isUp || m_waiting.isEmpty())
        return;
    texts = m_waiting.takeFirst();
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
