// A desktop entry's text gives an entry or none; what it names is in it.
#include "fuzz/Harness.h"
#include "platform/linux/DesktopEntry.h"

void tryInput(const QByteArray &bytes) {
    const auto entry = platform::parseDesktopEntry(bytes);
    if (!entry)
        return;
    qsizetype length = entry->type.size() + entry->name.size() + entry->tryExec.size() +
                       entry->flatpak.size() + entry->snap.size();
    for (const QByteArray &argument : entry->command)
        length += argument.size();
    require(length <= bytes.size(), "no text comes from elsewhere");
    require(bytes.contains("[Desktop Entry]"), "there is no entry without its group");
}
