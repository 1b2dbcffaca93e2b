#include "platform/linux/DesktopEntry.h"

#include "platform/posix/Text.h"

#include <QByteArrayView>
#include <QStandardPaths>
#include <algorithm>

namespace platform {

namespace {

// Replaces the escapes of a value of type string by what they mean.
QByteArray unescaped(const QByteArray &value) {
    constexpr QByteArrayView letters = "sntr\\";
    constexpr QByteArrayView meanings = " \n\t\r\\";
    QByteArray result;
    for (qsizetype i = 0; i < value.size(); ++i) {
        const bool mayBeEscape = value[i] == '\\' && i + 1 < value.size();
        const qsizetype escape = mayBeEscape ? letters.indexOf(value[i + 1]) : -1;
        result += escape < 0 ? value[i] : meanings[escape];
        if (escape >= 0)
            ++i;
    }
    return result;
}

// The arguments of an Exec value: separated by blanks, double quotes around arguments that hold reserved
// characters, a backslash before a quoted `"`, `` ` ``, `$` or `\`. Outside quotes, where the
// specification has no backslash, launchers read it as a shell does.
QByteArrayList arguments(const QByteArray &exec) {
    QByteArrayList result;
    std::optional<QByteArray> current;
    bool quoted = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const char c = exec[i];
        if ((c == ' ' || c == '\t') && !quoted) {
            if (current)
                result += *current;
            current.reset();
            continue;
        }
        if (!current)
            current.emplace();
        if (c == '"')
            quoted = !quoted;
        else
            *current += c == '\\' && i + 1 < exec.size() ? exec[++i] : c;
    }
    if (current)
        result += *current;
    return result;
}

} // namespace

DesktopEntry parseDesktopEntry(const QByteArray &bytes) {
    DesktopEntry entry;
    bool inEntry = false;
    for (QByteArrayView rest(bytes); !rest.isEmpty();) {
        const qsizetype length = rest.indexOf('\n');
        const QByteArrayView line = (length < 0 ? rest : rest.first(length)).trimmed();
        rest = length < 0 ? QByteArrayView() : rest.sliced(length + 1);
        if (line.startsWith('['))
            inEntry = line == "[Desktop Entry]";
        const qsizetype equals = inEntry ? line.indexOf('=') : -1;
        const QByteArrayView key = line.first(std::max<qsizetype>(equals, 0)).trimmed();
        // Most lines of an entry are translations.
        if (key.isEmpty() || key.endsWith(']'))
            continue;
        if (QByteArray &value = entry[key.toByteArray()]; value.isEmpty())
            value = unescaped(line.sliced(equals + 1).trimmed().toByteArray());
    }
    return entry;
}

QByteArrayList commandOf(const DesktopEntry &entry) {
    QByteArrayList command = arguments(entry.value("Exec"));
    // `env NAME=value program` is a common way to start a program with a variable set.
    qsizetype first = 0;
    if (command.value(0) == "env" || command.value(0).endsWith("/env")) {
        const QByteArrayList optionsWithValue = {"-u", "--unset", "-C", "--chdir"};
        do
            first += optionsWithValue.contains(command.value(first)) ? 2 : 1;
        while (command.value(first).contains('=') || command.value(first).startsWith('-'));
    }
    command = command.mid(first);
    // A single percent sign begins a field code.
    for (QByteArray &argument : command)
        argument.replace("%%", "%");
    return command;
}

std::optional<std::filesystem::path> findProgram(const QByteArray &name) {
    if (name.startsWith('/'))
        return std::filesystem::path(name.toStdString());
    const QString found =
        name.isEmpty() ? QString() : QStandardPaths::findExecutable(QString::fromUtf8(name));
    if (found.isEmpty())
        return std::nullopt;
    return pathFromText(found);
}

std::optional<std::filesystem::path> desktopEntryProgram(const QByteArray &entry) {
    const DesktopEntry parsed = parseDesktopEntry(entry);
    return parsed.value("Hidden") == "true" ? std::nullopt : findProgram(commandOf(parsed).value(0));
}

} // namespace platform
