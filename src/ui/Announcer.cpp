#include "ui/Announcer.h"

#include <QAccessible>

void Announcer::announce(QObject *item) {
    Q_EMIT announced(item);
    if (!QAccessible::isActive())
        return;
    QAccessibleEvent event(item, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}
