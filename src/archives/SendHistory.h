// Why archives were not sent, as the program's log has it: silent mode and the window leave no other trace of
// that.
//
// A value; any thread.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

namespace archives {

class SendHistory {
public:
    /// Reads the lines of a log, of all runs; the first may be cut.
    explicit SendHistory(const QByteArray &log);

    /// One sentence for the archive of this file name; empty when the log does not know the archive.
    QString reasonFor(const QString &archiveName) const { return m_reasons.value(archiveName); }

    /// The line by which a failure outside a run is logged, and found again.
    static QString failureLine(const QString &archiveName, const QString &reason);

private:
    void read(bool isError, const QString &message);

    QHash<QString, QString> m_reasons;
    // Of the run whose lines are being read: its archive, and the status that its service answered last.
    QString m_current;
    QString m_status;
};

} // namespace archives
