#include "collection/CopyOperations.h"

#include "logging/Logging.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Text.h"

namespace UtilityFunctions {

namespace {

namespace fs = std::filesystem;
using platform::description;
using platform::displayText;

// Whether going on with the next entry is of no use.
bool isDestinationFull(const std::error_code &error) {
    return error == std::errc::no_space_on_device || error == std::errc::read_only_file_system ||
           error == std::error_code(EDQUOT, std::generic_category());
}

// Copies one item of any kind with all its contents to a place where nothing is. What was copied before an
// error stays.
class TreeCopy {
public:
    // The first thing that went wrong; none when all was copied.
    std::error_code run(const fs::path &source, const fs::path &destination) {
        copy(source, destination);
        if (m_skipped > 0)
            Logger::logWarning(
                QStringLiteral("Not copied from %1: %2 pipes, sockets or devices, the first one being %3")
                    .arg(displayText(source.filename()), QString::number(m_skipped),
                         displayText(m_firstSkipped)));
        return m_error;
    }

private:
    void copy(const fs::path &source, const fs::path &destination) {
        std::error_code error;
        const auto attributes = platform::fileAttributes(source, error);
        if (!attributes)
            return note(error);
        switch (attributes->kind) {
        case platform::FileKind::regular:
            platform::copyRegularFile(source, destination, error);
            return note(error);
        case platform::FileKind::folder:
            return copyFolder(source, destination);
        case platform::FileKind::link:
            fs::copy_symlink(source, destination, error);
            return note(error);
        case platform::FileKind::special:
            return skip(source);
        }
    }

    void copyFolder(const fs::path &source, const fs::path &destination) {
        std::error_code error;
        if (!fs::create_directory(destination, error))
            return note(error ? error : std::make_error_code(std::errc::file_exists));
        ++m_depth;
        fs::directory_iterator entry(source, error);
        for (const fs::directory_iterator end; !error && !m_stopped && entry != end; entry.increment(error))
            copy(entry->path(), destination / entry->path().filename());
        note(error);
        --m_depth;
        platform::copyModificationTime(source, destination);
    }

    void note(const std::error_code &error) {
        if (error && !m_error)
            m_error = error;
        m_stopped = m_stopped || isDestinationFull(error);
    }

    // By itself such an item is what was asked for, so leaving it out is a failure.
    void skip(const fs::path &source) {
        if (m_depth == 0)
            return note(std::make_error_code(std::errc::operation_not_supported));
        if (m_skipped++ == 0)
            m_firstSkipped = source.filename();
    }

    std::error_code m_error;
    std::size_t m_skipped = 0;
    fs::path m_firstSkipped;
    std::size_t m_depth = 0;
    bool m_stopped = false;
};

} // namespace

bool copyItem(const std::optional<fs::path> &at, const std::optional<fs::path> &to) {
    if (!at || !to) {
        Logger::logWarning(QStringLiteral("Invalid source or destination URL"));
        return false;
    }
    std::error_code error;
    fs::create_directories(to->parent_path(), error);
    if (!error)
        error = TreeCopy().run(*at, *to);
    if (error)
        Logger::logError(QStringLiteral("Error copying ") + displayText(to->filename()) +
                         QStringLiteral(": ") + description(error));
    return !error;
}

void CopyFiles(const fs::path &sourceDirectory, const fs::path &destinationDirectory,
               const fs::path &fileName) {
    const fs::path destination = destinationDirectory / fileName;
    std::error_code error;
    if (fs::create_directories(destinationDirectory, error); error)
        Logger::logError(QStringLiteral("Error while creating directory: ") + description(error));
    else if (fs::remove_all(destination, error); error)
        Logger::logError(QStringLiteral("Error while removing existing file: ") + description(error));
    else if ((error = TreeCopy().run(sourceDirectory / fileName, destination)))
        Logger::logError(QStringLiteral("Error while copying file: ") + description(error));
    else
        Logger::logInfo(QStringLiteral("File copied successfully."));
}

} // namespace UtilityFunctions
