// The body of the upload request.
//
// Format: multipart/form-data (RFC 7578) with one part named "file", opened by a line break, as the service
// has always been sent it.
#pragma once

#include <QByteArray>
#include <filesystem>

struct MultipartFrame {
    QByteArray head;
    QByteArray tail;
};

/// What goes before and behind the bytes of the file `fileName`.
MultipartFrame multipartFrame(const QByteArray &boundary, const std::filesystem::path &fileName);

/// A fresh boundary: a random UUID in its upper-case text form.
QByteArray makeBoundary();
