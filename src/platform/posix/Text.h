// Names on disk are bytes; text is Unicode. Here one becomes the other.
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

} // namespace platform
