// The asset catalogue: the named colours and images, each for the light and the dark appearance.
//
// The values are chosen so that every text has a contrast of at least 4.5 to 1 against its ground, and
// every outline and mark 3 to 1 (WCAG 2.1, 1.4.3 and 1.4.11); a test computes it from the table.
#pragma once

#include "ui/ContentViewState.h"

#include <QColor>
#include <QObject>
#include <QUrl>
#include <QtQmlIntegration>

class Assets : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    /// The colour of that name: one of the catalogue, or "white" or "clear". An unknown name ends the
    /// process.
    Q_INVOKABLE static QColor color(const QString &name, ContentViewState::ColorScheme colorScheme);

    /// Where the image of that name is.
    Q_INVOKABLE static QUrl image(const QString &name, ContentViewState::ColorScheme colorScheme);
};
