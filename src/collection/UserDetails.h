// What the user says about the problem, and what becomes of it: the record in the archive and the prepared
// mail.
#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

namespace UtilityFunctions {

/// Whether `email` is empty or, as a whole, matches
/// `^([0-9a-zA-Z]([\+\-_\.][0-9a-zA-Z]+)*)+@(([0-9a-zA-Z][-\w]*[0-9a-zA-Z]*\.)+[a-zA-Z0-9]{2,17})$`
/// with \w as ICU defines it (https://unicode-org.github.io/icu/userguide/strings/regexp.html). Time is
/// linear in the text. Any thread.
bool isValidEmail(const QString &email);

/// Writes "UserEmailFeedback.json" into the output folder; nothing without one. The texts go in without any
/// escaping, as the support service expects them; an invalid address is left out. Any thread.
void CreateUserDetailContent(const QString &email, const QString &feedback);

} // namespace UtilityFunctions

/// A link of the scheme "mailto" (RFC 6068) to `email`, with a prepared message for the case that the upload
/// fails. Subject and body are percent-encoded but for the characters that RFC 3986 allows in a query. None
/// when a text holds half of a surrogate pair, which has no encoding, or when the link is no valid URL. Any
/// thread.
std::optional<QByteArray> mailLink(const QString &email, const QString &logId, const QString &description,
                                   const QString &senderAddress);
