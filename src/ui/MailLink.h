// The prepared message for the case that the upload fails.
#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

/// A link of the scheme "mailto" (RFC 6068) to `email`, whose subject and body are percent-encoded but for
/// the characters that RFC 3986 allows in a query; none when a text holds half of a surrogate pair, which has
/// no encoding, or when the link is no valid URL.
std::optional<QByteArray> mailLink(const QString &email, const QString &logId, const QString &description,
                                   const QString &senderAddress);
