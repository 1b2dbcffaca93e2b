#include "test_support/Machine.h"

#include "test_support/TestMachine.h"
#include "test_support/macos/StandIns.h"

#include <os/log.h>

namespace test_support {

namespace fs = std::filesystem;

struct Machine::State {
    std::size_t readLines = 0;
};

Machine::Machine()
    : m_state(std::make_unique<State>()) {
    Mac::shared() = {};
    Mac::shared().library = home() / "Library";
    Mac::shared().caches = home() / "Library/Caches";
    Mac::shared().setDark(false);
}

Machine::~Machine() = default;

fs::path Machine::library() const {
    return Mac::shared().library;
}

fs::path Machine::caches() const {
    return Mac::shared().caches;
}

fs::path Machine::install(const QString &identifier) {
    fs::path bundle = home() / "Applications" / (identifier.toStdString() + ".app");
    writeFile(bundle / "Contents/Info.plist", infoPlist(identifier.toUtf8(), "Program"));
    Mac::shared().installed[identifier].push_back(bundle);
    return bundle;
}

Machine::Application Machine::run(const QString &identifier) {
    constexpr int anyNumber = 4711;
    const Mac::Running one{identifier, anyNumber + static_cast<int>(Mac::shared().running.size()),
                           home() / (identifier.toStdString() + ".app")};
    Mac::shared().running.push_back(one);
    return {one.process, one.bundle};
}

void Machine::endApplications() {
    Mac::shared().running.clear();
}

void Machine::setHardwareAddresses(const std::vector<std::string> &addresses) {
    Mac::shared().interfaces.emplace(1);
    for (const std::string &address : addresses)
        Mac::shared().interfaces->push_back(QString::fromStdString(address));
}

std::optional<Machine::LogLine> Machine::nextLogLine() {
    if (m_state->readLines == Mac::shared().log.size())
        return std::nullopt;
    const auto &line = Mac::shared().log[m_state->readLines++];
    const std::map<int, std::string> types{
        {OS_LOG_TYPE_DEBUG, "debug"}, {OS_LOG_TYPE_INFO, "info"}, {OS_LOG_TYPE_ERROR, "error"}};
    const auto type = types.find(line.type);
    const QString text = QString::fromStdString(line.format).replace(QStringLiteral("%@"), line.argument);
    return LogLine{line.subsystem, line.category, type == types.end() ? "" : type->second,
                   text.toStdString()};
}

} // namespace test_support
