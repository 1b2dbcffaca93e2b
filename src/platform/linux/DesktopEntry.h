// What a desktop entry says, and which program it starts.
//
// Format: the Desktop Entry Specification of freedesktop.org, group "Desktop Entry". Any thread may call
// these.
#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <filesystem>
#include <optional>

namespace platform {

/// The keys of an entry that this program needs, with their escapes replaced; empty where the entry has none.
/// Of a key that occurs twice the first value counts, but one "true" is enough.
struct DesktopEntry {
    QByteArray type;
    QByteArray name;
    QByteArray tryExec;
    /// What Exec starts and its arguments, field codes among them. An `env` with its variables is left out.
    QByteArrayList command;
    bool hidden = false;
    bool noDisplay = false;
    bool startedByMessage = false;
    /// The application's name in Flatpak and in Snap, by which their entries are marked.
    QByteArray flatpak;
    QByteArray snap;
};

/// The entry in these bytes; none when they have no group "Desktop Entry".
std::optional<DesktopEntry> parseDesktopEntry(const QByteArray &bytes);

/// The program of this name, found through PATH when the name is not absolute; none when PATH does not lead
/// to it. An absolute one is not looked for.
std::optional<std::filesystem::path> findProgram(const QByteArray &name);

/// The program that the entry in these bytes starts, found through PATH when its name is not absolute; none
/// when the entry is hidden, names none, or names one that PATH does not lead to.
std::optional<std::filesystem::path> desktopEntryProgram(const QByteArray &entry);

} // namespace platform
