#include "test_support/WindowFixture.h"

#include "discovery/ProductDiscovery.h"
#include "discovery/RunState.h"
#include "logging/Logging.h"
#include "platform/Account.h"
#include "platform/posix/Text.h"
#include "ui/WindowScene.h"

#include <QMetaEnum>
#include <QMetaProperty>
#include <QRegularExpression>
#include <cstdlib>
#include <regex>

namespace fs = std::filesystem;
using namespace UtilityFunctions;
using test_support::runMainQueueUntil;

namespace {

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

void WindowTest::expectInOwnProcess(const std::function<bool()> &isGood) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto run = [&] {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        registerViews();
        const int status = isGood() ? 0 : 1;
        // It has a home of its own, and this is its end.
        std::error_code error;
        fs::remove_all(home.path(), error);
        std::_Exit(status);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

Recorder::Recorder(QObject &object, fs::path home)
    : m_home(std::move(home)) {
    addLogLines();
    m_record.clear();
    const QMetaObject &type = *object.metaObject();
    for (int i = 0; i < type.propertyCount(); ++i) {
        const QMetaProperty property = type.property(i);
        // The label of the attached files says in words what their count says; the disk is asked all the
        // time.
        static const QByteArrayList others{"attachedFilesLabel", "isAttaching"};
        if (!property.isBindable() || others.contains(property.name()))
            continue;
        m_notifiers.push_back(property.bindable(&object).addNotifier([this, property, &object] {
            addLogLines();
            m_record.push_back(shortened(QString::fromLatin1(property.name()) + QStringLiteral(" = ") +
                                         printed(property, property.read(&object))));
        }));
    }
}

Recorder::Lines Recorder::take() {
    addLogLines();
    return std::exchange(m_record, {});
}

std::pair<Recorder::Lines, Recorder::Lines> Recorder::takeApart() {
    static const std::regex field("[A-Za-z]+ = [^]*");
    std::pair<Lines, Lines> apart;
    for (const std::string &line : take())
        (std::regex_match(line, field) ? apart.first : apart.second).push_back(line);
    return apart;
}

void Recorder::addLogLines() {
    const QStringList lines = test_support::logLines(presentLog());
    for (; m_linesRead < lines.size(); ++m_linesRead)
        m_record.push_back(shortened(lines[m_linesRead]));
}

std::string Recorder::shortened(QString line) const {
    static const QRegularExpression stamp(QStringLiteral("/Output/[0-9]{14}"));
    line.replace(platform::displayText(m_home), QStringLiteral("~"));
    line.replace(stamp, QStringLiteral("/Output/RUN"));
    return line.toStdString();
}

RunTest::RunTest() {
    CreateOutputDirectories();
    Logger::changeLogFileLocation();
    isOutputDirectoryCreated = true;
    record.take();
    alertPresenter = [this](const QString &title, auto...) { alerts.push_back(title.toStdString()); };
}

sample_product::SampleProduct RunTest::install(sample_product::SampleProductOptions options) {
    options.logBytes = 60'000;
    options.logFiles = 6;
    return sample_product::makeSampleProduct(home.path(), options);
}

bool RunTest::hasCaption(const char *caption) const {
    return view.startButtonLabel.value() == QString::fromLatin1(caption);
}

void RunTest::pressUntil(const char *caption) {
    press();
    waitUntil(caption);
}

void RunTest::waitUntil(const char *caption) {
    ASSERT_TRUE(runMainQueueUntil([&] { return hasCaption(caption); }))
        << caption << ", not " << view.startButtonLabel.value().toStdString();
}
