// What a desktop entry says, and which program it starts.
//
// Format: the Desktop Entry Specification of freedesktop.org, group "Desktop Entry". Any thread may call
// these.
#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QHash>
#include <filesystem>
#include <optional>

namespace platform {

/// The keys of an entry and their values, with escapes replaced and without translations; of a key that
/// occurs twice the first value that is not empty.
using DesktopEntry = QHash<QByteArray, QByteArray>;

/// The entry in these bytes; empty when they have no group "Desktop Entry".
DesktopEntry parseDesktopEntry(const QByteArray &bytes);

/// What Exec starts and its arguments, field codes among them. An `env` with its variables is left out.
QByteArrayList commandOf(const DesktopEntry &entry);

/// The program of this name, found through PATH when the name is not absolute; none when PATH does not lead
/// to it. An absolute one is not looked for.
std::optional<std::filesystem::path> findProgram(const QByteArray &name);

/// The program that the entry in these bytes starts, found through PATH when its name is not absolute; none
/// when the entry is hidden, names none, or names one that PATH does not lead to.
std::optional<std::filesystem::path> desktopEntryProgram(const QByteArray &entry);

} // namespace platform
