// The window's texts that more than one place needs.
#pragma once

#include <QString>

namespace Texts {

inline const QString productName = QStringLiteral("Lumadoc Diagnostics");

// The primary button's captions, which are also the states of the window.
inline const QString startDiagnostics = QStringLiteral("Start diagnostics");
inline const QString stopDiagnostics = QStringLiteral("Stop diagnostics");
inline const QString shareLogs = QStringLiteral("Share logs");
inline const QString stopUpload = QStringLiteral("Stop upload");
inline const QString close = QStringLiteral("Close");

inline const QString compressingLogs = QStringLiteral("Compressing logs.");

inline const QString copyId = QStringLiteral("Copy ID");
inline const QString idCopied = QStringLiteral("ID Copied!");

// What is collected. A run of spaces stands between the columns; where the second one begins is the view's.
inline const QString basicLogs = QStringLiteral("BASIC LOGS\n"
                                                "• Lumadoc configuration, settings and logs\n"
                                                "• System configuration and settings");
inline const QString advancedLogs = QStringLiteral("BASIC LOGS") + QString(57, u' ') +
                                    QStringLiteral("ADVANCED LOGS\n"
                                                   "• Lumadoc configuration, settings and logs") +
                                    QString(8, u' ') +
                                    QStringLiteral("• Full Lumadoc data dump\n"
                                                   "• System configuration and settings");
inline const QString advancedLogsWithApps =
    advancedLogs + QString(18, u' ') + QStringLiteral("• System apps version information");

} // namespace Texts
