#include "UploadBody.h"

#include <QUuid>
#include <stdexcept>

namespace support_service {

namespace {

bool isUpperCaseUuid(std::string_view text) {
    const auto uuid = QByteArray(text.data(), static_cast<qsizetype>(text.size()));
    return QUuid::fromString(QLatin1String(uuid)).toByteArray(QUuid::WithoutBraces).toUpper() == uuid;
}

/// Takes `expected` off the front of `text`; false when it is not there.
bool take(std::string_view &text, std::string_view expected) {
    if (!text.starts_with(expected))
        return false;
    text.remove_prefix(expected.size());
    return true;
}

void require(bool isAsAgreed, const char *problem) {
    if (!isAsAgreed)
        throw std::runtime_error(problem);
}

} // namespace

UploadBody parseUploadBody(std::string_view contentType, std::string_view body) {
    std::string_view boundary = contentType;
    require(take(boundary, "multipart/form-data; boundary="),
            "the content type is not multipart form data with a boundary");
    require(isUpperCaseUuid(boundary), "the boundary is not a UUID in upper case");

    const std::string dashes = "--" + std::string(boundary);
    std::string_view rest = body;
    require(take(rest, "\r\n" + dashes + "\r\n"),
            "the body does not begin with a line break and the boundary");
    require(take(rest, "Content-Disposition: form-data; name=\"file\"; filename=\""),
            "the part's disposition is not that of a file named \"file\"");
    const std::size_t quote = rest.find('"');
    const std::string_view fileName = rest.substr(0, quote);
    require(quote != std::string_view::npos && fileName.find_first_of("\r\n") == std::string_view::npos,
            "the part's file name has no end");
    rest.remove_prefix(quote);
    require(take(rest, "\"\r\nContent-Type: application/octet-stream\r\n\r\n"),
            "the file name is not followed by the content type application/octet-stream alone");

    UploadBody upload{std::string(fileName), rest, false};
    const std::string closing = "\r\n" + dashes + "--\r\n";
    if (rest.ends_with(closing)) {
        upload.content.remove_suffix(closing.size());
        upload.complete = true;
    }
    require(upload.content.find("\r\n" + dashes) == std::string_view::npos,
            "what follows the archive is not the closing boundary alone");
    return upload;
}

std::string logIdFromFileName(std::string_view fileName) {
    std::string_view rest = fileName;
    if (!take(rest, "lumaMacLog_") || !rest.ends_with(".zip"))
        return {};
    const std::size_t underscore = rest.rfind('_');
    return underscore == std::string_view::npos ? std::string() : std::string(rest.substr(0, underscore));
}

} // namespace support_service
