#include "platform/linux/DesktopEntry.h"

#include "platform/posix/Text.h"

#include <QByteArrayView>
#include <QStandardPaths>

namespace platform {

namespace {

// Replaces the escapes of a value of type string by what they mean: \s \n \t \r \\.
QByteArray unescaped(const QByteArray &value) {
    QByteArray result;
    for (qsizetype i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            result += value[i];
            continue;
        }
        switch (value[++i]) {
        case 's':
            result += ' ';
            break;
        case 'n':
            result += '\n';
            break;
        case 't':
            result += '\t';
            break;
        case 'r':
            result += '\r';
            break;
        case '\\':
            result += '\\';
            break;
        default:
            result += '\\';
            result += value[i];
        }
    }
    return result;
}

// The arguments of an Exec value: separated by blanks, double quotes around arguments that hold reserved
// characters, a backslash before a quoted `"`, `` ` ``, `$` or `\`. Outside quotes, where the
// specification has no backslash, launchers read it as a shell does.
QByteArrayList arguments(const QByteArray &exec) {
    QByteArrayList result;
    QByteArray current;
    bool quoted = false;
    bool begun = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const char c = exec[i];
        if (c == '"') {
            quoted = !quoted;
            begun = true;
        } else if (c == '\\' && i + 1 < exec.size()) {
            current += exec[++i];
            begun = true;
        } else if ((c == ' ' || c == '\t') && !quoted) {
            if (begun)
                result += current;
            current.clear();
            begun = false;
        } else {
            current += c;
            begun = true;
        }
    }
    if (begun)
        result += current;
    return result;
}

// `env NAME=value program` is a common way to start a program with a variable set.
QByteArrayList withoutEnv(QByteArrayList command) {
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

struct Keys {
    DesktopEntry entry;
    QByteArray exec;

    void take(QByteArrayView key, QByteArrayView value) {
        if (key == "Hidden")
            entry.hidden = entry.hidden || value == "true";
        else if (key == "NoDisplay")
            entry.noDisplay = entry.noDisplay || value == "true";
        else if (key == "DBusActivatable")
            entry.startedByMessage = entry.startedByMessage || value == "true";
        else if (QByteArray *text = textFor(key); text != nullptr && text->isEmpty())
            *text = unescaped(value.toByteArray());
    }

private:
    QByteArray *textFor(QByteArrayView key) {
        const std::pair<QByteArrayView, QByteArray *> texts[] = {
            {"Exec", &exec},       {"Name", &entry.name},         {"TryExec", &entry.tryExec},
            {"Type", &entry.type}, {"X-Flatpak", &entry.flatpak}, {"X-SnapInstanceName", &entry.snap},
        };
        for (const auto &[name, text] : texts) {
            if (name == key)
                return text;
        }
        return nullptr;
    }
};

} // namespace

std::optional<DesktopEntry> parseDesktopEntry(const QByteArray &bytes) {
    Keys keys;
    bool inEntry = false;
    bool hasEntry = false;
    for (QByteArrayView rest(bytes); !rest.isEmpty();) {
        const qsizetype length = rest.indexOf('\n');
        const QByteArrayView line = (length < 0 ? rest : rest.first(length)).trimmed();
        rest = length < 0 ? QByteArrayView() : rest.sliced(length + 1);
        if (line.startsWith('['))
            inEntry = line == "[Desktop Entry]";
        hasEntry = hasEntry || inEntry;
        const qsizetype equals = inEntry ? line.indexOf('=') : -1;
        if (equals >= 0)
            keys.take(line.first(equals).trimmed(), line.sliced(equals + 1).trimmed());
    }
    if (!hasEntry)
        return std::nullopt;
    keys.entry.command = withoutEnv(arguments(keys.exec));
    return std::move(keys.entry);
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
    const auto parsed = parseDesktopEntry(entry);
    return parsed && !parsed->hidden ? findProgram(parsed->command.value(0)) : std::nullopt;
}

} // namespace platform
