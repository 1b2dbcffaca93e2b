#include "collection/TreeCopy.h"

#include "platform/posix/FileSystem.h"

namespace fs = std::filesystem;

namespace {

// Whether going on with the next entry is of no use.
bool isDestinationFull(const std::error_code &error) {
    return error == std::errc::no_space_on_device || error == std::errc::read_only_file_system ||
           error == std::error_code(EDQUOT, std::generic_category());
}

class Copier {
public:
    TreeCopy take() { return std::move(m_result); }

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

private:
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
        if (error && !m_result.error)
            m_result.error = error;
        m_stopped = m_stopped || isDestinationFull(error);
    }

    // By itself such an item is what was asked for, so leaving it out is a failure.
    void skip(const fs::path &source) {
        if (m_depth == 0)
            return note(std::make_error_code(std::errc::operation_not_supported));
        if (m_result.skipped++ == 0)
            m_result.firstSkipped = source.filename();
    }

    TreeCopy m_result;
    std::size_t m_depth = 0;
    bool m_stopped = false;
};

} // namespace

TreeCopy copyTree(const fs::path &source, const fs::path &destination) {
    Copier copier;
    copier.copy(source, destination);
    return copier.take();
}
