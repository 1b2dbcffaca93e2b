#include "ui/Announcer.h"

#include <QAccessible>

void Announcer::announce(QObject *item) {
    const auto tell = [this, item] {
        Q_EMIT announced(item);
        if (!QAccessible::isActive())
            return;
        // A notification is read when it comes up; Qt 6.4 has no event for one that changes.
        QAccessibleEvent event(item, QAccessible::ObjectShow);
        QAccessible::updateAccessibility(&event);
    };
    QMetaObject::invokeMethod(item, tell, Qt::QueuedConnection);
}
