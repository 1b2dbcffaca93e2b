#include "platform/linux/helpers/system_profiler/AppStream.h"

#include "platform/linux/helpers/system_profiler/Folders.h"
#include "platform/posix/FileSystem.h"

#include <QXmlStreamReader>

namespace system_profiler {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t fileLimitBytes = std::size_t{2} << 20;
constexpr std::size_t entryLimit = 64;

// The time to read a tag grows with the square of its attributes' number. A tag holds no further '<', so none
// is longer than the bytes between two of them.
bool hasLongTag(const QByteArray &bytes) {
    constexpr qsizetype tagLimit = qsizetype{8} << 10;
    for (qsizetype begin = bytes.indexOf('<'); begin >= 0;) {
        const qsizetype next = bytes.indexOf('<', begin + 1);
        if ((next < 0 ? bytes.size() : next) - begin > tagLimit)
            return true;
        begin = next;
    }
    return false;
}

QString textOf(QXmlStreamReader &reader) {
    return reader.readElementText(QXmlStreamReader::SkipChildElements).trimmed();
}

std::string entryNamed(const QString &identifier) {
    const std::string name = identifier.toStdString();
    return name.ends_with(".desktop") ? name : name + ".desktop";
}

// The names in other languages are elements of their own.
bool isTranslation(const QXmlStreamReader &reader) {
    return reader.attributes().hasAttribute("xml:lang"_L1);
}

void readReleases(QXmlStreamReader &reader, Component &component) {
    while (reader.readNextStartElement()) {
        if (component.version.isEmpty() && reader.name() == "release"_L1)
            component.version = reader.attributes().value("version"_L1).toString().trimmed();
        reader.skipCurrentElement();
    }
}

void readDeveloper(QXmlStreamReader &reader, Component &component) {
    while (reader.readNextStartElement()) {
        if (reader.name() == "name"_L1 && !isTranslation(reader))
            component.developer = textOf(reader);
        else
            reader.skipCurrentElement();
    }
}

void readEntry(QXmlStreamReader &reader, Component &component) {
    if (component.entries.size() == entryLimit)
        reader.raiseError(QStringLiteral("names more than %1 desktop entries").arg(entryLimit));
    else
        component.entries.push_back(entryNamed(textOf(reader)));
}

void readElement(QXmlStreamReader &reader, Component &component) {
    const bool isLaunchable =
        reader.name() == "launchable"_L1 && reader.attributes().value("type"_L1) == "desktop-id"_L1;
    if (reader.name() == "id"_L1 || isLaunchable)
        readEntry(reader, component);
    else if (reader.name() == "releases"_L1)
        readReleases(reader, component);
    else if (reader.name() == "developer_name"_L1 && !isTranslation(reader))
        component.developer = textOf(reader);
    else if (reader.name() == "developer"_L1)
        readDeveloper(reader, component);
    else
        reader.skipCurrentElement();
}

} // namespace

std::optional<Component> parseComponent(const QByteArray &bytes, QString &problem) {
    problem.clear();
    if (hasLongTag(bytes)) {
        problem = QStringLiteral("a tag or a text that is too long");
        return std::nullopt;
    }
    QXmlStreamReader reader(bytes);
    Component component;
    if (reader.readNextStartElement() &&
        (reader.name() == "component"_L1 || reader.name() == "application"_L1)) {
        while (reader.readNextStartElement())
            readElement(reader, component);
    } else if (!reader.hasError()) {
        problem = QStringLiteral("no AppStream component");
    }
    if (reader.error() == QXmlStreamReader::CustomError)
        problem = reader.errorString();
    else if (reader.hasError())
        problem = QStringLiteral("not well-formed XML in line %1").arg(reader.lineNumber());
    return problem.isEmpty() ? std::optional(std::move(component)) : std::nullopt;
}

std::optional<Component> readComponent(const fs::path &file, NotRead &notRead, AppStreamBudget &budget) {
    std::error_code error;
    const auto bytes = platform::readFile(file, fileLimitBytes, error);
    if (!bytes) {
        notRead.add(file, error);
        return std::nullopt;
    }
    const auto sizeBytes = static_cast<std::uint64_t>(bytes->size());
    if (sizeBytes > budget.remainingBytes) {
        notRead.add(file, QStringLiteral("comes after too many bytes of such files"));
        return std::nullopt;
    }
    budget.remainingBytes -= sizeBytes;
    QString problem;
    auto component = parseComponent(*bytes, problem);
    if (!component)
        notRead.add(file, problem);
    return component;
}

std::map<std::string, Component> componentsIn(const std::vector<fs::path> &folders, NotRead &notRead,
                                              AppStreamBudget &budget) {
    std::map<std::string, Component> result;
    for (const fs::path &folder : folders) {
        for (const fs::path &path : entriesOf(folder, notRead)) {
            const auto component =
                path.extension() == ".xml" ? readComponent(path, notRead, budget) : std::nullopt;
            if (!component)
                continue;
            const Component told{
                .entries = {}, .version = component->version, .developer = component->developer};
            for (const std::string &entry : component->entries)
                result.emplace(entry, told);
        }
    }
    return result;
}

} // namespace system_profiler
