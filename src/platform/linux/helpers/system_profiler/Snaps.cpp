#include "platform/linux/helpers/system_profiler/Snaps.h"

#include "platform/linux/helpers/system_profiler/Folders.h"
#include "platform/posix/FileSystem.h"

#include <QByteArrayList>
#include <algorithm>

namespace system_profiler {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t fileLimitBytes = std::size_t{1} << 20;

// What the entry says of itself becomes part of paths.
bool isName(std::string_view text) {
    const auto allowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
               c == '_' || c == '+';
    };
    return !text.empty() && std::all_of(text.begin(), text.end(), allowed);
}

// "SNAP_APPLICATION.desktop"; an application's name holds no underscore.
struct EntryName {
    std::string snap;
    std::string application;
};

std::optional<EntryName> nameOf(const InstalledEntry &entry, const fs::path &snapEntries) {
    const std::string stem = entry.path.stem().native();
    const std::size_t underscore = stem.rfind('_');
    EntryName name{entry.entry.snap.toStdString(), {}};
    if (underscore != std::string::npos)
        name.application = stem.substr(underscore + 1);
    if (!isName(name.snap) && entry.path.parent_path() == snapEntries)
        name.snap = stem.substr(0, underscore);
    return isName(name.snap) ? std::optional(std::move(name)) : std::nullopt;
}

QByteArray withoutQuotes(const QByteArray &value) {
    const bool quoted =
        value.size() >= 2 && value.front() == value.back() && (value.front() == '"' || value.front() == '\'');
    return quoted ? value.sliced(1, value.size() - 2) : value;
}

// The value of a header of a signed statement: the lines before the first empty one.
QByteArray headerOf(const QByteArray &statement, const QByteArray &name) {
    for (const QByteArray &line : statement.split('\n')) {
        if (line.isEmpty())
            break;
        if (line.startsWith(name + ":"))
            return line.sliced(name.size() + 1).trimmed();
    }
    return {};
}

// A statement stands in a file "active", with a format's number behind it from the second format on. Where
// the system keeps them to itself the publisher is not known, which is no fault of the machine.
QByteArray statementIn(const fs::path &folder) {
    NotRead unreported;
    for (const fs::path &path : entriesOf(folder, unreported)) {
        std::error_code error;
        if (path.stem() != "active")
            continue;
        if (const auto bytes = platform::readFile(path, fileLimitBytes, error))
            return *bytes;
    }
    return {};
}

QString publisherOf(const std::string &snap, const fs::path &assertions) {
    NotRead unreported;
    constexpr std::size_t declarationLimit = 5000;
    const QByteArray name = QByteArray::fromStdString(snap.substr(0, snap.find('_')));
    for (const fs::path &folder :
         entriesOf(assertions / "snap-declaration/16", unreported, declarationLimit)) {
        const QByteArray declaration = statementIn(folder);
        if (headerOf(declaration, "snap-name") != name)
            continue;
        const QByteArray publisher = headerOf(declaration, "publisher-id");
        if (!isName(publisher.toStdString()))
            return {};
        return QString::fromUtf8(
            headerOf(statementIn(assertions / "account" / publisher.toStdString()), "display-name"));
    }
    return {};
}

fs::path locationOf(const std::string &snap, const std::vector<fs::path> &folders) {
    for (const fs::path &folder : folders) {
        std::error_code error;
        if (fs::path current = folder / snap / "current"; fs::exists(current, error))
            return current;
    }
    return {};
}

} // namespace

SnapFile parseSnapFile(const QByteArray &bytes) {
    SnapFile result;
    bool inApplications = false;
    qsizetype applicationIndent = 0;
    std::string application;
    for (const QByteArray &line : bytes.split('\n')) {
        const QByteArray text = line.trimmed();
        const qsizetype colon = text.indexOf(':');
        if (text.startsWith('#') || colon < 0)
            continue;
        const qsizetype indent = line.indexOf(text.front());
        const QByteArray key = withoutQuotes(text.first(colon));
        const QByteArray value = withoutQuotes(text.sliced(colon + 1).trimmed());
        if (indent == 0) {
            inApplications = key == "apps";
            applicationIndent = 0;
            if (key == "version")
                result.version = QString::fromUtf8(value);
        } else if (inApplications && (applicationIndent == 0 || indent <= applicationIndent)) {
            applicationIndent = indent;
            application = key.toStdString();
        } else if (inApplications && key == "command") {
            result.commands.emplace(application, value.split(' ').first().toStdString());
        }
    }
    return result;
}

std::optional<Snap> snapOf(const InstalledEntry &entry, const Places &places, NotRead &notRead) {
    const auto name = nameOf(entry, places.snapEntries);
    if (!name)
        return std::nullopt;
    Snap result;
    result.name = QString::fromStdString(name->snap);
    result.publisher = publisherOf(name->snap, places.snapAssertions);
    result.location = locationOf(name->snap, places.snaps);
    if (result.location.empty())
        return result;
    const fs::path file = result.location / "meta/snap.yaml";
    std::error_code error;
    const auto bytes = platform::readFile(file, fileLimitBytes, error);
    if (!bytes) {
        notRead.add(file, error);
        return result;
    }
    const SnapFile content = parseSnapFile(*bytes);
    result.version = content.version;
    const auto command = content.commands.find(name->application);
    if (command != content.commands.end() && !command->second.empty())
        result.program = result.location / fs::path(command->second).relative_path();
    return result;
}

} // namespace system_profiler
