#include "ui/Views.h"

#include <QFont>
#include <QFontDatabase>

// Written by the build from the types that are marked for the views. Called by name, since a linker takes
// nothing out of a static library that nobody asks for.
void qml_register_types_Lumamon();

void registerViews() {
    qml_register_types_Lumamon();
}

// The window's faces are the typeface of the build under the names that the views use.
void registerTypeface() {
    for (const char *face : {"Regular", "Bold"}) {
        const QString name = QString::fromLatin1(face);
        QFontDatabase::addApplicationFont(QStringLiteral(":/Lumamon/fonts/Inter-%1.otf").arg(name));
        QFont::insertSubstitution(QStringLiteral("BrennicClean-") + name, QStringLiteral("Inter"));
    }
}
