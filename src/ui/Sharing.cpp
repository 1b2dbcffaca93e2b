// The last step of the window: the archive is built once, and uploaded as often as the user tries.
#include "ui/ContentView.h"

#include "collection/UserDetails.h"
#include "discovery/MainQueue.h"
#include "packaging/FilesPathDirectory.h"
#include "packaging/UploadAPI.h"

#include <QPointer>

using namespace UtilityFunctions;

void ContentView::ShareButtonPressed() {
    if (isInitialFocus && feedbackText.value().isEmpty()) {
        primaryButtonDisabled = true;
        isInitialFocus = false;
        return;
    }
    feedbackFormFocus = Field::noField;
    primaryButtonDisabled = true;
    isFeedbackEmailLayoutDisabled = true;
    isUploadFailedLayoutVisible = false;
    isLoggingCompleteVisible = true;
    isSecondaryError = SecondaryError::none;
    if (UtilityFunctions::ShareButtonPressed)
        sendArchive();
    else if (isAttaching)
        shareWhenAttached();
    else
        buildArchive();
}

// What was picked belongs into the archive. Whatever the user has to be told meanwhile comes first.
void ContentView::shareWhenAttached() {
    logLabel = QStringLiteral("Waiting for attached files.");
    isRunning = true;
    m_whenAttached = [this](bool isUndisturbed) {
        isRunning = false;
        isFeedbackEmailLayoutDisabled = false;
        primaryButtonDisabled = false;
        if (isUndisturbed)
            ShareButtonPressed();
    };
}

void ContentView::showFailure() {
    isUploadFailedLayoutVisible = true;
    isLoggingCompleteVisible = false;
    primaryButtonDisabled = false;
    startButtonLabel = Texts::shareLogs;
    isRunning = false;
}

void ContentView::buildArchive() {
    UtilityFunctions::ShareButtonPressed = true;
    isFormFrozen = true;
    logLabel = QStringLiteral("Compressing logs.");
    isRunning = true;
    const auto build = [email = emailText.value(), feedback = feedbackText.value()] {
        CreateUserDetailContent(email, feedback);
        FilesPathDirectory::pruneOutput();
        return FilesPathDirectory::packOutput();
    };
    besideMainQueue("Archive", build, [view = QPointer(this)](bool isCompressed) {
        if (view && isCompressed) {
            view->sendArchive();
        } else if (view) {
            view->primaryButtonDisabled = false;
            view->isRunning = false;
        }
    });
}

void ContentView::sendArchive() {
    if (FilesPathDirectory::isArchiveSizeValid())
        uploadArchive();
    else
        showFailure();
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
