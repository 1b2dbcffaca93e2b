// Text from names on disk, which are bytes; text as it is printed on one line, and as a person counts it. Any
// thread.
#pragma once

#include <QString>
#include <filesystem>

namespace platform {

/// A path for display and for JSON; bytes that are not UTF-8 show as U+FFFD.
inline QString displayText(const std::filesystem::path &path) {
    return QString::fromUtf8(path.native().data(), static_cast<qsizetype>(path.native().size()));
}

/// The description of a platform error.
inline QString description(const std::error_code &error) {
    return QString::fromStdString(error.message());
}

/// A path component from text.
inline std::filesystem::path pathFromText(const QString &text) {
    return std::filesystem::path(text.toStdString());
}

/// `text` in a form that can neither act on a terminal nor pass for another line: control and format
/// characters and line separators are escaped, as in "\n" and "\u{1B}"; half a surrogate pair is U+FFFD.
QString shown(const QString &text);

/// The same with backslashes escaped too, so that the text can be told from what it shows.
QString escaped(const QString &text);

/// The escaped text in quotation marks, with a backslash before quotation marks.
QString printedText(const QString &text);

/// How many characters a person counts: extended grapheme clusters
/// (https://www.unicode.org/reports/tr29/#Grapheme_Cluster_Boundaries).
qint64 characterCount(const QString &text);

/// The first `limit` of them. Of characters with more than 32 code units on average, which only made-up ones
/// have, fewer are kept: however long the text is, no more of it is looked at.
QString firstCharacters(const QString &text, qint64 limit);

} // namespace platform
