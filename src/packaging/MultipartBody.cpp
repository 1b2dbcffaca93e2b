#include "packaging/MultipartBody.h"

#include <QUuid>

MultipartFrame multipartFrame(const QByteArray &boundary, const std::filesystem::path &fileName) {
    return {
        .head = "\r\n--" + boundary + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" +
                QByteArray::fromStdString(fileName.native()) +
                "\"\r\nContent-Type: application/octet-stream\r\n\r\n",
        .tail = "\r\n--" + boundary + "--\r\n",
    };
}

QByteArray makeBoundary() {
    return QUuid::createUuid().toByteArray(QUuid::WithoutBraces).toUpper();
}
