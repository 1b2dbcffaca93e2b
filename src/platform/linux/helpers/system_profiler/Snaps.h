// Applications that came as snaps: `NAME/current` below the folder of snaps is the installed revision, and
// `meta/snap.yaml` in it says what it holds.
#pragma once

#include "platform/linux/helpers/system_profiler/DesktopEntries.h"
#include "platform/linux/helpers/system_profiler/Places.h"

namespace system_profiler {

/// What a snap.yaml says, as far as the report asks.
struct SnapFile {
    QString version;
    /// By application: the program within the snap.
    std::map<std::string, std::string> commands;
};

/// Reads the block form in which snap.yaml files are written, not the whole of YAML.
SnapFile parseSnapFile(const QByteArray &bytes);

struct Snap {
    QString name;
    QString version;
    /// The publisher's name where the statements signed for this snap are there to be read; empty otherwise.
    QString publisher;
    /// Empty when no folder of snaps holds it.
    std::filesystem::path location;
    /// Empty when the snap does not tell.
    std::filesystem::path program;
};

/// The application that an entry starts, when it came as a snap: when the entry bears its mark, or stands
/// where snaps keep their entries.
std::optional<Snap> snapOf(const InstalledEntry &entry, const Places &places, NotRead &notRead);

} // namespace system_profiler
