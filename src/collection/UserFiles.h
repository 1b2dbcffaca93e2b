// The files that the user attaches, in the folder from which they are packed: what the disk is asked about
// them.
//
// Each function blocks for as long as the disk does. Any thread, one request at a time.
#pragma once

#include <QStringList>
#include <atomic>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <vector>

namespace UserFiles {

using Files = std::vector<std::filesystem::path>;

/// What all files together may have.
inline constexpr qint64 limitBytes = 10'485'760;

/// What can be attached, in the order in which a panel offers it.
inline const QStringList extensions =
    QStringLiteral("pdf jpg jpeg png doc docx xls xlsx ppt pptx").split(u' ');

/// Whether the file's name says that it is of such a kind.
bool canBeAttached(const std::filesystem::path &file);

/// What the user is told of a file that is not attached.
QString leftOut(const std::filesystem::path &file, const QString &reason);
QString leftOut(const std::filesystem::path &file, const std::error_code &reason);

/// What a folder offers to attach, or to look for that.
struct Choice {
    std::filesystem::path file;
    bool isFolder = false;
};

/// The folders in a folder, then the files that can be attached, both by name. Hidden ones are left out; a
/// folder that cannot be read offers nothing.
std::vector<Choice> choicesIn(const std::filesystem::path &folder);

struct Pick {
    /// What can be attached.
    Files files;
    /// What cannot, as `leftOut` says it.
    QStringList leftOut;
    bool isWithinLimit = true;
};

/// Looks at what the user has picked while other files wait. A panel offers only files of some kinds, but may
/// let the user type any name. A link stands for the file that it names: that is attached, under its own
/// name, and so has to be of these kinds.
Pick measured(const Files &picked, const Files &waiting, const std::optional<std::filesystem::path> &folder);

/// Whether the files and those in the folder together have at most `limit` bytes. A file without a size
/// counts nothing. One line of the log.
bool areFilesWithinSizeLimit(const Files &files, const std::optional<std::filesystem::path> &folder,
                             qint64 limit);

/// What a file does that meets one of its name.
enum class Clash { asks, replaces };

/// Set once, by whoever comes first: the copy when it puts its file into the folder, or somebody who does not
/// wait for it any longer.
using Decision = std::shared_ptr<std::atomic<bool>>;

/// Copies a file into the folder, by way of `scratch`, which is not packed. What kept it out; none when the
/// user has to decide about a clash first.
std::optional<std::error_code> copyInto(const std::filesystem::path &folder,
                                        const std::filesystem::path &scratch,
                                        const std::filesystem::path &file, Clash clash,
                                        const Decision &decision);

/// How many files are in the folder, with a line of the log; none when that cannot be found out.
std::optional<qint64> countIn(const std::filesystem::path &folder);

/// Removes the folder, which holds `count` files, with a line of the log.
bool removeAll(const std::filesystem::path &folder, qint64 count);

} // namespace UserFiles
