#include "packaging/UploadAPI.h"

#include "discovery/RunState.h"
#include "logging/Logging.h"
#include "packaging/FilesPathDirectory.h"
#include "platform/Bundle.h"
#include "platform/posix/Fatal.h"

#include <QUuid>
#include <cmath>

namespace {

const QString unknownErrorText = QStringLiteral("Unknown error occurred.");

// The text in UTF-8 bytes; empty when they are none.
QString decodedText(const QByteArray &bytes) {
    return QUtf8StringView(bytes).isValidUtf8() ? QString::fromUtf8(bytes) : QString();
}

} // namespace

void UploadTaskDelegate::urlSession(std::int64_t, std::int64_t totalBytesSent,
                                    std::int64_t totalBytesExpectedToSend) {
    const double percent =
        std::trunc(static_cast<double>(totalBytesSent) / static_cast<double>(totalBytesExpectedToSend) * 100);
    if (!std::isfinite(percent))
        platform::fatal("The upload's progress cannot be told.");
    if (percent < 1 || percent > 99)
        Logger::logInfo(m_progress ? m_progress->get() : QString());
    else if (m_progress)
        m_progress->set(QStringLiteral("Uploading %1%").arg(QString::number(percent, 'f', 0)));
}

namespace UploadAPI {

QByteArray endpoint() {
    const auto &bundle = platform::Bundle::main();
    const auto host = bundle ? bundle->text("LumamonSupportHost") : std::nullopt;
    if (!host || host->isEmpty())
        platform::fatal("The main bundle names no support host.");
    return "https://" + host->toUtf8() + "/cr-apip-7.0.0/mac/log";
}

UploadRequest multipartRequest(const std::filesystem::path &archive) {
    const QByteArray boundary = QUuid::createUuid().toByteArray(QUuid::WithoutBraces).toUpper();
    UploadRequest request;
    request.contentType = "multipart/form-data; boundary=" + boundary;
    request.head = "\r\n--" + boundary + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" +
                   QByteArray::fromStdString(archive.filename().native()) +
                   "\"\r\nContent-Type: application/octet-stream\r\n\r\n";
    request.tail = "\r\n--" + boundary + "--\r\n";
    request.archive = archive;
    return request;
}

void upload(const std::optional<std::filesystem::path> &fileURL, CompletionHandler completionHandler) {
    if (!fileURL)
        return;
    UploadRequest request = multipartRequest(*fileURL);
    request.url = endpoint();
    uploadTask = std::make_unique<UploadTask>(
        std::move(request),
        [delegate = UploadTaskDelegate()](auto... bytes) mutable { delegate.urlSession(bytes...); },
        [handler = std::move(completionHandler)](const UploadResponse &response) {
            handler(handleResponse(response));
        });
    uploadTask->resume();
}

UploadResult handleResponse(const UploadResponse &response) {
    if (response.statusCode) {
        Logger::logInfo(QStringLiteral("Status Code: ") + QString::number(*response.statusCode));
        if (response.data) {
            Logger::logInfoLines(QStringLiteral("Response Data: ") + decodedText(*response.data));
            if (response.statusCode == 200)
                return *response.data;
            if (response.statusCode == 405 || response.statusCode == 413 || response.statusCode == 500)
                return UploadError{UploadErrorDomain, 1, QStringLiteral("Internal Server Error.")};
        }
    }
    if (response.error) {
        Logger::logInfo(response.error->localizedDescription());
        return *response.error;
    }
    Logger::logInfo(unknownErrorText);
    return UploadError{UploadErrorDomain, 0, unknownErrorText};
}

void logUploadError(const UploadError &error) {
    Logger::logError(QStringLiteral("Upload error code: ") + QString::number(error.code));
    Logger::logError(QStringLiteral("Upload error domain: ") + error.domain);
    if (error.code == TransportErrorCode::cancelled) {
        Logger::logError(QStringLiteral("Upload task was canceled"));
    } else if (error.code == TransportErrorCode::notConnectedToInternet) {
        Logger::logError(QStringLiteral("No internet connection"));
    } else {
        Logger::logError(QStringLiteral("Other network error: ") + error.localizedDescription());
        const QString &text = error.userInfoDescription;
        Logger::logError(QStringLiteral("userInfo: ") +
                         (text.isEmpty() ? QStringLiteral("no userInfo") : text));
    }
}

} // namespace UploadAPI

void UtilityFunctions::SilentUpload(UploadAPI::CompletionHandler completion) {
    // Here and now, since the end of the program may be scheduled already.
    std::uint64_t sizeBytes = 0;
    if (compressedLogURL)
        openArchive(*compressedLogURL, sizeBytes);
    UploadAPI::upload(compressedLogURL, [completion = std::move(completion)](const UploadResult &result) {
        if (const auto *error = std::get_if<UploadError>(&result))
            UploadAPI::logUploadError(*error);
        else
            FilesPathDirectory::removeOutput();
        completion(result);
    });
}
