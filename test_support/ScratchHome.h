// A home folder for one test, empty at first and removed afterwards.
#pragma once

#include "test_support/ScopedEnvironment.h"
#include "test_support/ScratchFolder.h"

namespace test_support {

class ScratchHome {
public:
    /// The folder that HOME points at from now on; the XDG variables that could lead elsewhere are unset.
    const std::filesystem::path &path() const { return m_folder.path(); }
    /// The Library folder that the program will use in this home.
    std::filesystem::path library() const { return path() / ".local/share/Library"; }
    std::filesystem::path caches() const { return path() / ".cache"; }

private:
    ScratchFolder m_folder;
    ScopedEnvironment m_home{"HOME", m_folder.path().native()};
    ScopedEnvironment m_data{"XDG_DATA_HOME", std::nullopt};
    ScopedEnvironment m_cache{"XDG_CACHE_HOME", std::nullopt};
    ScopedEnvironment m_dataFolders{"XDG_DATA_DIRS", std::nullopt};
};

} // namespace test_support
