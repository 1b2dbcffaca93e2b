// The report: the applications of this machine and user, from desktop entries, bundles and package managers,
// and their text.
//
// The same applications give the same bytes, whatever language and time zone the machine is set to: times are
// in UTC, so that reports of two machines can be compared.
#pragma once

#include "platform/linux/helpers/system_profiler/Reader.h"

namespace system_profiler {

/// One block of the report. A text is empty when not known.
struct Application {
    QString name;
    QString version;
    QString source;
    QDateTime modified;
    QString kind;
    QString location;
    QString maintainer;
    /// The desktop entries that start it.
    std::vector<std::filesystem::path> entries;
    /// False when all of its entries say that menus should not show it.
    bool inMenus = true;
    /// Not shown: files by which to ask for its package, the most telling first.
    std::vector<std::filesystem::path> files;
};

/// Every application that a desktop entry offers, and every bundle once. An application's version is what its
/// bundle or its package manager says; its package owns the entry or, for a user's own entry, the program.
std::vector<Application> applicationsOfThisMachine(Reader &reader);

/// A text as the report shows it: escaped, on one line, of bounded length.
QString lineOf(const QString &text);

/// The report in UTF-8: a block for each application, by name without regard to case, then by location, then
/// in the given order; then, if there is any, what was not read.
QByteArray reportOf(std::vector<Application> applications, const Reader &reader);

} // namespace system_profiler
