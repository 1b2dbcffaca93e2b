// The report's place: a file that appears whole, for its user alone, or not at all.
//
// The folder is held open from the start, so what happens to its path afterwards makes no difference. No link
// is followed but those on the way to the folder that root or the user made: a link of anybody else could
// lead into a folder of the user's that was never meant.
#pragma once

#include "platform/posix/FileDescriptor.h"

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace spindump {

enum class FolderOwner { anybody, theUser };

class OutputFile {
public:
    /// Opens the folder of `path`. None, with the reason in `error`, when there is none, when it is not
    /// `user`'s where `owner` demands it, or when what stands at `path` may not be replaced: anything but a
    /// plain file of `user`.
    static std::optional<OutputFile> prepare(const std::string &path, uid_t user, FolderOwner owner,
                                             std::string &error);

    /// Writes `content` to the disk beside the place and moves it there, with mode 600. False, with the
    /// reason in `error` and nothing left behind, when that fails.
    bool write(std::string_view content, std::string &error) const;

private:
    OutputFile(platform::FileDescriptor folder, std::string name, uid_t user)
        : m_folder(std::move(folder))
        , m_name(std::move(name))
        , m_user(user) {}

    enum class Place { free, plainFileOfUser, taken };
    Place look(std::string &error) const;
    bool moveIntoPlace(const std::string &beside, std::string &error) const;

    platform::FileDescriptor m_folder;
    std::string m_name;
    uid_t m_user = 0;
};

} // namespace spindump
