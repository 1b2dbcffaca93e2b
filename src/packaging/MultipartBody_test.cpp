#include "packaging/MultipartBody.h"

#include <QRegularExpression>
#include <QString>
#include <gtest/gtest.h>

namespace {

TEST(MultipartBody, FrameIsByteForByteWhatTheServiceTakes) {
    const MultipartFrame frame = multipartFrame("B", "lumaMacLog_1_cef.zip");
    EXPECT_EQ(frame.head + "BYTES" + frame.tail,
              "\r\n--B\r\n"
              "Content-Disposition: form-data; name=\"file\"; filename=\"lumaMacLog_1_cef.zip\"\r\n"
              "Content-Type: application/octet-stream\r\n"
              "\r\n"
              "BYTES\r\n--B--\r\n");
}

TEST(MultipartBody, BoundaryIsAnUpperCaseUuidMadeForEachRequest) {
    const QByteArray boundary = makeBoundary();
    EXPECT_TRUE(QRegularExpression(
                    QStringLiteral("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$"))
                    .match(QString::fromLatin1(boundary))
                    .hasMatch());
    EXPECT_NE(boundary, makeBoundary());
}

} // namespace
