#include "ui/Announcer.h"

#include <QAccessible>

void Announcer::announce(QObject *item) {
    const auto tell = [this, item] {
        Q_EMIT announced(item);
        if (!QAccessible::isActive())
            return;
        QAccessibleEvent event(item, QAccessible::Alert);
        QAccessible::updateAccessibility(&event);
    };
    QMetaObject::invokeMethod(item, tell, Qt::QueuedConnection);
}
