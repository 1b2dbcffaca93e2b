#include "platform/linux/DesktopEntry.h"

#include "platform/Text.h"

#include <QByteArrayList>
#include <QStandardPaths>

namespace platform {

namespace {

// Undoes the escapes of a value of type string: \s \n \t \r \\.
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
// characters, a backslash before a quoted `"`, `` ` ``, `$` or `\`. Outside quotes, where that
// standard has no backslash, launchers take it as a shell does.
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
QByteArray programName(const QByteArrayList &arguments) {
    qsizetype first = 0;
    if (arguments.value(0) == "env" || arguments.value(0).endsWith("/env")) {
        const QByteArrayList optionsWithValue = {"-u", "--unset", "-C", "--chdir"};
        do
            first += optionsWithValue.contains(arguments.value(first)) ? 2 : 1;
        while (arguments.value(first).contains('=') || arguments.value(first).startsWith('-'));
    }
    // A single percent sign begins a field code.
    return arguments.value(first).replace("%%", "%");
}

} // namespace

std::optional<std::filesystem::path> desktopEntryProgram(const QByteArray &entry) {
    bool inEntry = false;
    QByteArray exec;
    for (const QByteArray &line : entry.split('\n')) {
        const QByteArray text = line.trimmed();
        if (text.startsWith('['))
            inEntry = text == "[Desktop Entry]";
        const qsizetype equals = text.indexOf('=');
        if (!inEntry || equals < 0)
            continue;
        const QByteArray key = text.first(equals).trimmed();
        const QByteArray value = text.sliced(equals + 1).trimmed();
        if (key == "Hidden" && value == "true")
            return std::nullopt;
        if (key == "Exec" && exec.isEmpty())
            exec = unescaped(value);
    }
    const QByteArray name = programName(arguments(exec));
    if (name.startsWith('/'))
        return std::filesystem::path(name.toStdString());
    const QString found =
        name.isEmpty() ? QString() : QStandardPaths::findExecutable(QString::fromUtf8(name));
    if (found.isEmpty())
        return std::nullopt;
    return pathFromText(found);
}

} // namespace platform
