#include "ui/WindowTest.h"

#include "discovery/RunState.h"
#include "platform/Account.h"
#include "platform/posix/Text.h"

#include <QMetaEnum>
#include <QMetaProperty>
#include <QRegularExpression>

namespace {

namespace fs = std::filesystem;

QString printed(const QMetaProperty &property, const QVariant &value) {
    if (property.isEnumType())
        return QString::fromLatin1(property.enumerator().valueToKey(value.toInt()));
    if (value.metaType() == QMetaType::fromType<std::optional<fs::path>>()) {
        const auto path = value.value<std::optional<fs::path>>();
        return path ? platform::displayText(*path) : QStringLiteral("none");
    }
    if (value.metaType() == QMetaType::fromType<std::vector<fs::path>>()) {
        QStringList names;
        for (const fs::path &path : value.value<std::vector<fs::path>>())
            names.append(platform::displayText(path.filename()));
        return u'[' + names.join(QStringLiteral(", ")) + u']';
    }
    return value.toString();
}

// The log as it is now: it moves from the caches folder into the workspace.
fs::path presentLog() {
    const fs::path first =
        platform::userCachesFolders().front() / "Logs" / ConstantsFolder::DebugOutputLogFile;
    return UtilityFunctions::lumamonLogFileURL.value_or(first);
}

} // namespace

std::string printedField(const QObject &object, const char *name) {
    const QMetaObject &type = *object.metaObject();
    const QMetaProperty property = type.property(type.indexOfProperty(name));
    return property.isValid() ? printed(property, property.read(&object)).toStdString() : "no such field";
}

Recorder::Recorder(QObject &object, fs::path home)
    : m_home(std::move(home)) {
    addLogLines();
    m_record.clear();
    const QMetaObject &type = *object.metaObject();
    for (int i = 0; i < type.propertyCount(); ++i) {
        const QMetaProperty property = type.property(i);
        // The label of the attached files says in words what their count says.
        if (!property.isBindable() || qstrcmp(property.name(), "attachedFilesLabel") == 0)
            continue;
        m_notifiers.push_back(property.bindable(&object).addNotifier([this, property, &object] {
            addLogLines();
            const QString value = printed(property, property.read(&object));
            m_record.emplace_back(
                false, shortened(QString::fromLatin1(property.name()) + QStringLiteral(" = ") + value)
                           .toStdString());
        }));
    }
}

std::vector<std::string> Recorder::take() {
    addLogLines();
    std::vector<std::string> lines;
    for (const auto &entry : m_record)
        lines.push_back(entry.second);
    m_record.clear();
    return lines;
}

std::vector<std::string> Recorder::takeLog() {
    addLogLines();
    std::erase_if(m_record, [](const auto &entry) { return !entry.first; });
    return take();
}

std::vector<std::string> Recorder::takeFields() {
    addLogLines();
    std::erase_if(m_record, [](const auto &entry) { return entry.first; });
    return take();
}

void Recorder::addLogLines() {
    const QStringList lines = test_support::logLines(presentLog());
    for (; m_linesRead < lines.size(); ++m_linesRead)
        m_record.emplace_back(true, shortened(lines[m_linesRead]).toStdString());
}

QString Recorder::shortened(QString line) const {
    static const QRegularExpression stamp(QStringLiteral("/Output/[0-9]{14}"));
    static const QRegularExpression process(QStringLiteral("(ProcessId: |spindump )[0-9]+"));
    line.replace(platform::displayText(m_home), QStringLiteral("~"));
    line.replace(stamp, QStringLiteral("/Output/RUN"));
    line.replace(UtilityFunctions::UniqueId, QStringLiteral("LOGID"));
    line.replace(process, QStringLiteral("\\1PID"));
    return line;
}
