// The last step of the window: the archive is built once, and uploaded as often as the user tries.
#include "ui/ContentView.h"

#include "collection/ProcessExecution.h"
#include "collection/UserDetails.h"
#include "discovery/MainQueue.h"
#include "packaging/FilesPathDirectory.h"
#include "packaging/UploadAPI.h"

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
    const auto goOn = [this](bool isCompressed) {
        if (isCompressed)
            return sendArchive();
        primaryButtonDisabled = false;
        isRunning = false;
    };
    besideMainQueue("Archive", build, whileAlive(this, goOn));
}

void ContentView::sendArchive() {
    // An upload that the user has stopped may still be ending; what it says must not reach the status line.
    ++m_uploadNumber;
    m_status->note(logLabel);
    const auto earlier = std::make_shared<std::unique_ptr<UploadTask>>(std::move(UploadAPI::uploadTask));
    const auto check = [earlier] {
        earlier->reset();
        return FilesPathDirectory::isArchiveSizeValid();
    };
    const auto goOn = [this](bool isValid) { isValid ? uploadArchive() : showFailure(); };
    besideMainQueue("Archive", check, whileAlive(this, goOn));
}

void ContentView::uploadArchive() {
    logLabel = QStringLiteral("Uploading 0%");
    // Also when the line has not changed, since the earlier upload did not get far.
    m_status->note(logLabel);
    primaryButtonDisabled = false;
    startButtonLabel = Texts::stopUpload;
    isRunning = true;
    const auto end = whileAlive(this, [this, upload = m_uploadNumber](const UploadResult &result) {
        if (m_uploadNumber == upload)
            return startUpload(result);
        // The user stopped this one and has started the next.
        if (const auto *error = std::get_if<UploadError>(&result))
            UploadAPI::logUploadError(*error);
    });
    UploadAPI::upload(compressedLogURL,
                      [end](const UploadResult &result) { onMainQueue([=] { end(result); }); });
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
    primaryButtonDisabled = true;
    ProcessExecution::runSteps({FilesPathDirectory::removeOutput},
                               whileAlive(this, [this] { showClosingPage(); }));
}

void ContentView::showClosingPage() {
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
