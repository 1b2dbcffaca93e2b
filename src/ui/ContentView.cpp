#include "ui/ContentView.h"

#include "collection/PListOperations.h"
#include "collection/ProcessExecution.h"
#include "collection/UserDetails.h"
#include "discovery/MainQueue.h"
#include "discovery/ProductDiscovery.h"
#include "logging/Logging.h"
#include "packaging/UploadAPI.h"
#include "platform/Bundle.h"
#include "platform/Desktop.h"

#include <QTimer>

using namespace UtilityFunctions;

namespace {

// Finds the product and makes the folders for what is collected of it.
ContentView::Start findProduct() {
    FindRunningEditions();
    if (IsMultipleInstance()) {
        Logger::logInfo(QStringLiteral("Lumadoc multiple running instances."));
        return ContentView::Start::refused;
    }
    SetLumadocRunningOrInstalledInstances(true);
    SetLumadocOrPellix();
    SetUserFilesFolder();
    return ContentView::Start::done;
}

} // namespace

ContentView::ContentView(QObject *parent)
    : Attachments(parent)
    , m_status(std::make_shared<StatusText>([this](const QString &text) { logLabel = text; }))
    , m_statusNotifier(logLabel.addNotifier([this] { m_status->note(logLabel); })) {
    m_status->note(logLabel);
    isEmailValid.setBinding([this] { return isValidEmail(emailText); });
}

ContentView::~ContentView() {
    m_status->close();
}

QString ContentView::supportEmail() const {
    const auto &bundle = platform::Bundle::main();
    return bundle ? bundle->text("LumamonSupportEmail").value_or(QString()) : QString();
}

void ContentView::primaryButtonPressed() {
    ProcessExecution::labelTextBinding = m_status->binding();
    UploadAPI::uploadProgress = m_status->binding();
    onMainQueue(whileAlive(this, [this] {
        // An earlier press may have disabled the button since.
        if (!primaryButtonDisabled)
            StartButtonPressed();
    }));
}

void ContentView::StartButtonPressed() {
    const QString state = startButtonLabel;
    if (state == Texts::startDiagnostics)
        StartMonitoring();
    else if (state == Texts::stopDiagnostics)
        StopMonitoring();
    else if (state == Texts::shareLogs)
        ShareButtonPressed();
    else if (state == Texts::stopUpload)
        StopShareButtonPressed();
}

void ContentView::StartMonitoring() {
    primaryButtonDisabled = true;
    isRunning = true;
    const auto start = std::make_shared<Start>(Start::refused);
    const auto find = [start, isRestart = !std::exchange(isOutputDirectoryCreated, true),
                       isAdvanced = getSpinDump.value()] {
        // The window was closed and opened again in one process. The capture of the closed one, which ends
        // before any other step, may have used its workspace until now.
        if (isRestart) {
            Logger::log(QStringLiteral("--------------Application restarted without quitting--------------"),
                        platform::OSLogType::debug);
            BeginRun();
        }
        Logger::logInfo(QStringLiteral("Start diagnostics pressed. Advanced Log Checkbox: ") +
                        (isAdvanced ? QStringLiteral("Yes") : QStringLiteral("No")));
        *start = findProduct();
    };
    // Has the product log in detail. A step of its own: once the program is ending, it is left out, since
    // nobody would undo it.
    const auto prepare = [start, on = isLumaloggingEnabled.value()] {
        if (*start != Start::done)
            return;
        PListOperations::EnableLumaLogging(on);
        if (IsLumadocRestartRequired())
            *start = Start::needsRestart;
    };
    ProcessExecution::runSteps({find, prepare},
                               whileAlive(this, [this, start] { monitoringStarted(*start); }));
}

void ContentView::monitoringStarted(Start start) {
    isRunning = false;
    primaryButtonDisabled = false;
    if (start == Start::refused)
        return;
    advanceLogToggleDisabled = true;
    startButtonLabel = Texts::stopDiagnostics;
    logLabel =
        QStringLiteral("Please reproduce the steps that led to the issue and then select Stop diagnostics");
    // Drawn inverted while the user reproduces the problem.
    primaryButtonColor = QStringLiteral("PrimaryTextColor");
    primaryButtonTextColor = QStringLiteral("BackgroundColor");

    Logger::logInfo(QStringLiteral("ShowRestartLumadocAlert: ") +
                    (start == Start::needsRestart ? QStringLiteral("true") : QStringLiteral("false")));
    if (start == Start::needsRestart)
        displayAlert(QStringLiteral("Lumadoc restart required"),
                     QStringLiteral("We suggest restarting Lumadoc immediately to gather detailed logs and "
                                    "then perform the problematic steps."),
                     QStringLiteral("OK"));
}

void ContentView::StopMonitoring() {
    primaryButtonDisabled = true;
    isRunning = true;
    ProcessExecution::runTasksConcurrently(getInstalledApps, getSpinDump, isLumaloggingEnabled,
                                           whileAlive(this, [this] { captureCompleted(); }));
}

void ContentView::captureCompleted() {
    Logger::logInfo(QStringLiteral("Stop diagnostics Queue Completed."));
    logLabel = QStringLiteral("Logging complete.");
    startButtonLabel = Texts::shareLogs;
    isRunning = false;
    isLogEditorVisible = false;
    isFeedbackLayoutVisible = true;
    primaryButtonColor = QStringLiteral("PrimaryColor");
    primaryButtonTextColor = QStringLiteral("white");
    isLogLabelVisible = false;
    isSampleMissing = ProcessExecution::isSampleMissing;
    isLoggingCompleteVisible = true;
    if (!isStandaloneVersion)
        return;
    // The standalone build ends at the Log ID and offers no upload.
    logLabel = QString();
    startButtonLabel = Texts::close;
    thickBorderButtonStyle = true;
    isCloseLayoutVisible = true;
    isFeedbackEmailLayoutDisabled = true;
}

void ContentView::mailToTrigger(const QString &email) {
    if (const auto link = mailLink(email, UniqueId, feedbackText, emailText))
        platform::openLink(*link, [email] {
            displayAlert(QStringLiteral("Mail Not Opened"),
                         QStringLiteral("No mail program could be opened. Please write to this address:\n") +
                             email,
                         QStringLiteral("OK"));
        });
}

void ContentView::viewLogs() {
    if (!tempTimeStampedURL)
        return;
    platform::revealFolder(*tempTimeStampedURL, [path = platform::displayText(*tempTimeStampedURL)] {
        displayAlert(QStringLiteral("Folder Not Shown"),
                     QStringLiteral("No file browser could be opened. Please open this folder yourself:\n") +
                         path,
                     QStringLiteral("OK"));
    });
}

void ContentView::copyLogId() {
    platform::setPasteboardText(UniqueId);
    CopyText = QStringLiteral("ID Copied!");
    // A coarse timer may end it a quarter of a second early.
    QTimer::singleShot(std::chrono::seconds(5), Qt::PreciseTimer, this, [this] { CopyText = Texts::copyId; });
}

void ContentView::disappear() {
    Q_EMIT disappearing();
    Logger::logInfoLines(
        QStringLiteral("--------------onDisappear triggered, application closed-------------- \n\n"));
    isOutputDirectoryCreated = false;
}

void ContentView::changeSpinDump(bool on) {
    if (getSpinDump == on)
        return;
    getSpinDump = on;
    const QString &advanced = getInstalledApps ? Texts::advancedLogsWithApps : Texts::advancedLogs;
    captureDetails = on ? advanced : Texts::basicLogs;
}

// Does not look at the other toggle: the list has two columns from the first change on.
void ContentView::changeInstalledApps(bool on) {
    if (getInstalledApps == on)
        return;
    getInstalledApps = on;
    captureDetails = on ? Texts::advancedLogsWithApps : Texts::advancedLogs;
}
