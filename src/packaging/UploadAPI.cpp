#include "packaging/UploadAPI.h"

#include "logging/Logging.h"
#include "packaging/MultipartBody.h"
#include "platform/Bundle.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/FileSystem.h"

#include <QStringDecoder>
#include <cmath>

namespace {

const QString unknownErrorText = QStringLiteral("Unknown error occurred.");

// The text in UTF-8 bytes; empty when they are none.
QString decodedText(const QByteArray &bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(bytes);
    return decoder.hasError() ? QString() : text;
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

QByteArray UploadAPI::endpoint() {
    const auto &bundle = platform::Bundle::main();
    const auto host = bundle ? bundle->text("LumamonSupportHost") : std::nullopt;
    if (!host || host->isEmpty())
        platform::fatal("The main bundle names no support host.");
    return "https://" + host->toUtf8() + "/cr-apip-7.0.0/mac/log";
}

void UploadAPI::upload(const std::optional<std::filesystem::path> &fileURL,
                       CompletionHandler completionHandler) {
    if (!fileURL)
        return;
    std::error_code error;
    std::uint64_t archiveBytes = 0;
    auto archive = platform::openRegularFile(*fileURL, archiveBytes, error);
    if (!archive)
        platform::fatal("The archive that was just made cannot be opened.");
    const QByteArray boundary = makeBoundary();
    UploadRequest request{
        .url = endpoint(),
        .contentType = "multipart/form-data; boundary=" + boundary,
        .frame = multipartFrame(boundary, fileURL->filename()),
        .archive = std::move(archive),
        .archiveBytes = archiveBytes,
    };
    uploadTask = std::make_shared<UploadTask>(
        std::move(request),
        [delegate = UploadTaskDelegate()](auto... bytes) mutable { delegate.urlSession(bytes...); },
        [handler = std::move(completionHandler)](const UploadResponse &response) {
            handler(handleResponse(response));
        });
    uploadTask->resume();
}

UploadResult UploadAPI::handleResponse(const UploadResponse &response) {
    if (response.statusCode) {
        Logger::logInfo(QStringLiteral("Status Code: ") + QString::number(*response.statusCode));
        if (response.data) {
            Logger::logInfo(QStringLiteral("Response Data: ") + decodedText(*response.data));
            switch (*response.statusCode) {
            case 200:
                return *response.data;
            case 405:
            case 413:
            case 500:
                return UploadError{UploadErrorDomain, 1, QStringLiteral("Internal Server Error.")};
            default:
                break;
            }
        }
    }
    if (response.error) {
        Logger::logInfo(response.error->localizedDescription());
        return *response.error;
    }
    Logger::logInfo(unknownErrorText);
    return UploadError{UploadErrorDomain, 0, unknownErrorText};
}

void UploadAPI::logUploadError(const UploadError &error) {
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
