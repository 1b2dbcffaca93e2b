// What the desktop does for the window: file browser, mail program, pasteboard.
//
// Main thread. Each returns at once; a desktop that lacks the service does nothing.
#pragma once

#include <QByteArray>
#include <QString>
#include <filesystem>

namespace platform {

/// Shows a folder in the file browser.
void revealFolder(const std::filesystem::path &folder);

/// Opens a link, already encoded, with the program that the user has chosen for its scheme.
void openLink(const QByteArray &link);

/// Replaces what is on the pasteboard by this text.
void setPasteboardText(const QString &text);

/// Whether it still holds what this program put there.
bool ownsPasteboard();

} // namespace platform
