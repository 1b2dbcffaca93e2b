// The last step of the window: the archive is built once, and uploaded as often as the user tries.
#include "ui/ContentView.h"

#include "discovery/MainQueue.h"
#include "packaging/FilesPathDirectory.h"
#include "packaging/UploadAPI.h"
#include "platform/posix/Process.h"
#include "ui/FeedbackForm.h"

#include <QEventLoop>
#include <QPointer>

using namespace UtilityFunctions;

namespace {

// Runs `work` on another thread, where the system has one, and gives its result when it has ended. Meanwhile
// the window draws, the main queue runs and the user may close the window. None when the program is to end
// before the work has: the work then goes on alone, so it must own or outlive what it uses. Not a thread of a
// pool, since Qt waits for its pool before it ends the program.
std::optional<bool> workBesideWindow(const std::function<bool()> &work) {
    // Main thread only.
    const auto result = std::make_shared<std::optional<bool>>();
    QEventLoop loop;
    std::thread thread = platform::startThread("Archive", [result, loop = QPointer(&loop), work] {
        const bool value = work();
        onMainQueue([result, loop, value] {
            *result = value;
            if (loop)
                loop->quit();
        });
    });
    if (!thread.joinable())
        return work();
    thread.detach();
    // Events of every kind: the closing of the window is one of the user's.
    loop.exec();
    return *result;
}

} // namespace

void ContentView::ShareButtonPressed() {
    if (isInitialFocus && feedbackText.value().isEmpty()) {
        primaryButtonDisabled = true;
        isInitialFocus = false;
        return;
    }
    // What was picked belongs into the archive; a clash of names is for the user to decide first.
    finishCopying();
    if (showAlert)
        return;
    feedbackFormFocus = Field::noField;
    primaryButtonDisabled = true;
    isFeedbackEmailLayoutDisabled = true;
    isUploadFailedLayoutVisible = false;
    isLoggingCompleteVisible = true;
    isSecondaryError = SecondaryError::none;
    if (!UtilityFunctions::ShareButtonPressed && !buildArchive()) {
        isRunning = false;
        return;
    }
    if (FilesPathDirectory::isArchiveSizeValid()) {
        uploadArchive();
        return;
    }
    showFailure();
}

void ContentView::showFailure() {
    isUploadFailedLayoutVisible = true;
    isLoggingCompleteVisible = false;
    primaryButtonDisabled = false;
    startButtonLabel = Texts::shareLogs;
    isRunning = false;
}

// False when there is no archive, or when the program ends meanwhile.
bool ContentView::buildArchive() {
    UtilityFunctions::ShareButtonPressed = true;
    isFormFrozen = true;
    logLabel = QStringLiteral("Compressing logs.");
    isRunning = true;
    CreateUserDetailContent(emailText, feedbackText);
    const auto isCompressed = workBesideWindow([] {
        FilesPathDirectory::pruneOutput();
        return FilesPathDirectory::packOutput();
    });
    if (isCompressed == false)
        primaryButtonDisabled = false;
    return isCompressed.value_or(false);
}

void ContentView::uploadArchive() {
    // One that the user has stopped may still be ending; its report must not reach the status line any more.
    UploadAPI::uploadTask.reset();
    logLabel = QStringLiteral("Uploading 0%");
    // Also when the line has not changed, since the earlier one did not get far.
    m_status->note(logLabel);
    primaryButtonDisabled = false;
    startButtonLabel = Texts::stopUpload;
    isRunning = true;
    const int upload = ++m_uploadNumber;
    UploadAPI::upload(compressedLogURL, [view = QPointer(this), upload](const UploadResult &result) {
        onMainQueue([=] {
            if (!view)
                return;
            // The user stopped this one and has started the next.
            if (view->m_uploadNumber != upload) {
                if (const auto *error = std::get_if<UploadError>(&result))
                    UploadAPI::logUploadError(*error);
                return;
            }
            view->startUpload(result);
        });
    });
}

void ContentView::startUpload(const UploadResult &result) {
    if (const auto *error = std::get_if<UploadError>(&result)) {
        UploadAPI::logUploadError(*error);
        if (error->code == TransportErrorCode::cancelled)
            isSecondaryError = SecondaryError::canceled;
        else if (error->code == TransportErrorCode::notConnectedToInternet)
            isSecondaryError = SecondaryError::network;
        showFailure();
        return;
    }
    logLabel = QStringLiteral("Uploading 100%");
    FilesPathDirectory::removeOutput();
    startButtonLabel = Texts::close;
    isRunning = false;
    logLabel = QString();
    isFeedbackLayoutVisible = false;
    isCloseLayoutVisible = true;
    primaryButtonDisabled = false;
    isUploadFailedLayoutVisible = false;
    primaryButtonColor = QStringLiteral("clear");
    thickBorderButtonStyle = true;
}

void ContentView::StopShareButtonPressed() {
    primaryButtonDisabled = true;
    if (UploadAPI::uploadTask)
        UploadAPI::uploadTask->cancel();
    startButtonLabel = Texts::shareLogs;
    isRunning = false;
    primaryButtonDisabled = false;
}
