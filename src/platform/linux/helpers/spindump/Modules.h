// The program files that a process has mapped: its program, its libraries, the kernel's page of code.
//
// Opened from the target's own root folder, read only, and used only when a file with the inode number of the
// mapped one still stands there. Debug information is looked for on this machine alone, by build identifier.
// A pointer into the library that reads them is owned here. One thread.
#pragma once

#include "Mappings.h"

#include <chrono>
#include <elfutils/libdwfl.h>
#include <memory>

namespace spindump {

/// What the callbacks of the library need to open a module's file.
struct ModuleFile {
    int memory = -1;
    int root = -1;
    Mapping first;
    std::uint64_t end = 0;
    /// Why it is not used; empty when it is.
    std::string failure;
    /// A copy of the kernel's page, which is in no file.
    std::vector<char> image;
};

class Modules {
public:
    /// The descriptors are borrowed.
    Modules(int mapsFile, int memoryFile, int rootFolder, std::size_t limit);
    ~Modules();
    Modules(const Modules &) = delete;
    Modules &operator=(const Modules &) = delete;

    Dwfl *dwfl() const { return m_dwfl; }

    /// The module at an address; null when there is none. Looks again for new ones, once a second at most.
    Dwfl_Module *at(std::uint64_t address);
    /// The file's name without folders, and the address at which the file begins in memory.
    std::string nameOf(Dwfl_Module *module) const;

    /// One line for each: address range, build identifier, path.
    std::string text() const;

private:
    void refresh();
    void report(const Mapping &first, std::uint64_t end);
    bool overlapsKnown(std::uint64_t begin, std::uint64_t end) const;

    int m_maps;
    int m_memory;
    int m_root;
    std::size_t m_limit;
    bool m_limitReached = false;
    Dwfl *m_dwfl = nullptr;
    std::vector<std::unique_ptr<ModuleFile>> m_files;
    std::chrono::steady_clock::time_point m_lastLook;
};

} // namespace spindump
