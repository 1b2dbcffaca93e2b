#include "ui/RunTest.h"

#include "discovery/ProductDiscovery.h"
#include "discovery/RunState.h"
#include "logging/Logging.h"

#include <algorithm>
#include <random>

namespace fs = std::filesystem;
using namespace UtilityFunctions;
using test_support::runMainQueueUntil;

OwnSupportService::OwnSupportService() {
    if (!test_support::hasOwnNamespaces())
        return;
    const fs::path info = fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "Info.plist";
    QByteArray text = test_support::readFile(info);
    text.replace("support.brennic.example", QByteArray::fromStdString(m_service->host()));
    test_support::writeFile(m_folder.path() / "Info.plist", text);
    m_info.reset(new test_support::Mount(test_support::Mount::over(m_folder.path() / "Info.plist", info)));
}

RunTest::RunTest() {
    CreateOutputDirectories();
    Logger::changeLogFileLocation();
    isOutputDirectoryCreated = true;
    showAlerts();
    record.take();
}

void RunTest::showAlerts() {
    alertPresenter = [this](const QString &title, const QString &message, const QString &button) {
        alerts.push_back({title.toStdString(), message.toStdString(), button.toStdString()});
    };
}

sample_product::SampleProduct RunTest::install(sample_product::SampleProductOptions options) {
    options.logBytes = 60'000;
    options.logFiles = 6;
    options.messageBytes = 3000;
    return sample_product::makeSampleProduct(home.path(), options);
}

bool RunTest::hasCaption(const char *caption) const {
    return view.startButtonLabel.value() == QString::fromLatin1(caption);
}

void RunTest::pressUntil(const char *caption) {
    press();
    ASSERT_TRUE(runMainQueueUntil([&] { return hasCaption(caption); }))
        << printedField(view, "startButtonLabel");
}

void ShareTest::SetUp() {
    REQUIRE_OWN_NAMESPACES();
}

void ShareTest::capture(std::size_t bytes) {
    SetLumadocOrPellix();
    SetUserFilesFolder();
    QByteArray content(static_cast<qsizetype>(bytes), Qt::Uninitialized);
    std::mt19937_64 random(bytes);
    std::generate(content.begin(), content.end(), [&] { return static_cast<char>(random() & 0xFFU); });
    test_support::writeFile(*tempOutputURL / "LumaLog/session.log", content);
    test_support::writeFile(*tempOutputURL / "LumaLog/state.bin", "not for the archive");
    test_support::writeFile(*tempOutputURL / "DetailedInfo.json", "{}");
    view.startButtonLabel = QStringLiteral("Share logs");
    view.logLabel = QStringLiteral("Logging complete.");
    view.isLogEditorVisible = false;
    view.isFeedbackLayoutVisible = true;
    view.isLogLabelVisible = false;
    view.isLoggingCompleteVisible = true;
    view.primaryButtonDisabled = true;
    record.take();
}

void ShareTest::describe(const char *text) {
    view.changeFeedback(QString::fromUtf8(text));
    record.take();
}

void ShareTest::waitForUpload() {
    EXPECT_TRUE(runMainQueueUntil([&] { return !view.isRunning(); })) << printedField(view, "logLabel");
}

fs::path ShareTest::runFolder() const {
    return tempTimeStampedURL.value_or(fs::path());
}

fs::path ShareTest::archive() const {
    return runFolder() / ("lumaMacLog_" + UniqueId.toStdString() + "_abc.zip");
}
