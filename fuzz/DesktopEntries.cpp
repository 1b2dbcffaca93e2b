// A desktop entry's text gives an entry or none; what it names is in it.
#include "fuzz/Harness.h"
#include "platform/linux/DesktopEntry.h"

void tryInput(const QByteArray &bytes) {
    const platform::DesktopEntry entry = platform::parseDesktopEntry(bytes);
    qsizetype length = 0;
    for (auto key = entry.keyBegin(); key != entry.keyEnd(); ++key)
        length += key->size() + entry.value(*key).size();
    require(length <= bytes.size(), "no text comes from elsewhere");
    require(entry.isEmpty() || bytes.contains("[Desktop Entry]"), "there is no entry without its group");
    qsizetype commandLength = 0;
    for (const QByteArray &argument : platform::commandOf(entry))
        commandLength += argument.size();
    require(commandLength <= entry.value("Exec").size(), "no argument comes from elsewhere");
}
