#include "Modules.h"

#include "EscapedText.h"
#include "ProcFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace spindump {

namespace {

using namespace std::string_view_literals;

// "\012" for a newline is the only thing that the kernel writes differently.
std::string pathOnDisk(std::string path) {
    for (std::size_t at = 0; (at = path.find("\\012", at)) != std::string::npos; ++at)
        path.replace(at, 4, "\n");
    return path;
}

// The file that is mapped, if it still stands there. Pipes and devices are never opened for reading.
platform::FileDescriptor openMapped(ModuleFile &file) {
    const std::string path = pathOnDisk(file.first.path);
    const std::size_t name = path.find_first_not_of('/');
    if (!path.starts_with('/') || name == std::string::npos) {
        file.failure = "not a file";
        return {};
    }
    struct stat found {};
    if (::fstatat(file.root, path.c_str() + name, &found, 0) != 0) {
        file.failure = std::strerror(errno);
        return {};
    }
    if (!S_ISREG(found.st_mode) || found.st_ino != file.first.inode) {
        file.failure = "another file stands there now";
        return {};
    }
    auto opened = openIn(file.root, path.substr(name), O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!opened || ::fstat(opened.get(), &found) != 0 || !S_ISREG(found.st_mode) ||
        found.st_ino != file.first.inode) {
        file.failure = opened ? "another file stands there now" : std::strerror(errno);
        return {};
    }
    return opened;
}

Elf *openKernelPage(ModuleFile &file) {
    constexpr std::uint64_t most = 1 << 16;
    file.image.resize(std::min(most, file.first.end - file.first.begin));
    const auto count =
        ::pread(file.memory, file.image.data(), file.image.size(), static_cast<off_t>(file.first.begin));
    if (count != static_cast<ssize_t>(file.image.size())) {
        file.failure = "not readable";
        return nullptr;
    }
    return elf_memory(file.image.data(), file.image.size());
}

int findElf(Dwfl_Module *, void **userData, const char *, Dwarf_Addr, char **fileName, Elf **elf) {
    auto &file = *static_cast<ModuleFile *>(*userData);
    *fileName = nullptr;
    if (file.first.path == "[vdso]") {
        *elf = openKernelPage(file);
        return -1;
    }
    const auto opened = openMapped(file);
    if (!opened)
        return -1;
    // Read here and not by the library, which would unpack a compressed file to any size.
    *elf = elf_begin(opened.get(), ELF_C_READ_MMAP, nullptr);
    if (*elf != nullptr && elf_kind(*elf) == ELF_K_ELF && elf_cntl(*elf, ELF_C_FDDONE) == 0) {
        *fileName = ::strdup(file.first.path.c_str());
        return -1;
    }
    elf_end(*elf);
    *elf = nullptr;
    file.failure = "no program file";
    return -1;
}

// By build identifier in the folders of this machine; the library's usual search would ask servers too.
int findDebugInformation(Dwfl_Module *module, void **userData, const char *name, Dwarf_Addr base,
                         const char *fileName, const char *link, GElf_Word checksum, char **found) {
    return dwfl_build_id_find_debuginfo(module, userData, name, base, fileName, link, checksum, found);
}

constexpr Dwfl_Callbacks callbacks{
    .find_elf = findElf,
    .find_debuginfo = findDebugInformation,
    .section_address = dwfl_offline_section_address,
    .debuginfo_path = nullptr,
};

bool isSameFile(const Mapping &left, const Mapping &right) {
    return left.inode == right.inode && left.device == right.device && left.path == right.path;
}

std::string hexadecimal(const unsigned char *bytes, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", bytes[i]);
        text += digits.data();
    }
    return text;
}

std::string buildIdentifier(Dwfl_Module *module) {
    const unsigned char *bytes = nullptr;
    GElf_Addr address = 0;
    const int count = dwfl_module_build_id(module, &bytes, &address);
    return count > 0 ? hexadecimal(bytes, std::min(count, 64)) : std::string();
}

ModuleFile &fileOf(Dwfl_Module *module) {
    void **userData = nullptr;
    dwfl_module_info(module, &userData, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    return *static_cast<ModuleFile *>(*userData);
}

int appendLine(Dwfl_Module *module, void **, const char *, Dwarf_Addr, void *result) {
    GElf_Addr bias = 0;
    dwfl_module_getelf(module, &bias);
    const ModuleFile &file = fileOf(module);
    const std::string identifier = buildIdentifier(module);
    std::array<char, 64> range{};
    std::snprintf(range.data(), range.size(), "0x%012" PRIx64 " - 0x%012" PRIx64, file.first.begin, file.end);
    std::string line = std::string(range.data()) + "  " +
                       (identifier.empty() ? "no build identifier" : identifier) + "  " +
                       escaped(file.first.path);
    if (!file.failure.empty())
        line += "  (not read: " + file.failure + ")";
    *static_cast<std::string *>(result) += line + '\n';
    return DWARF_CB_OK;
}

} // namespace

Modules::Modules(int mapsFile, int memoryFile, int rootFolder, std::size_t limit)
    : m_maps(mapsFile)
    , m_memory(memoryFile)
    , m_root(rootFolder)
    , m_limit(limit)
    , m_dwfl(dwfl_begin(&callbacks)) {
    if (m_dwfl == nullptr)
        throw std::bad_alloc();
    refresh();
}

Modules::~Modules() {
    dwfl_end(m_dwfl);
}

// A file's mappings follow each other, with unnamed ones in between that hold its zeroed data. Files that are
// mapped without any code are data.
void Modules::refresh() {
    m_lastLook = std::chrono::steady_clock::now();
    dwfl_report_begin_add(m_dwfl);
    const Mapping *first = nullptr;
    std::uint64_t end = 0;
    bool hasCode = false;
    const auto finish = [&] {
        if (first != nullptr && hasCode)
            report(*first, end);
    };
    const auto mappings = readMappings(m_maps);
    for (const Mapping &mapping : mappings) {
        if (mapping.inode == 0 && mapping.path != "[vdso]")
            continue;
        const bool continues = first != nullptr && isSameFile(*first, mapping) && mapping.fileOffset != 0;
        if (!continues) {
            finish();
            first = &mapping;
            hasCode = false;
        }
        end = mapping.end;
        hasCode = hasCode || mapping.executable;
    }
    finish();
    dwfl_report_end(m_dwfl, nullptr, nullptr);
}

bool Modules::overlapsKnown(std::uint64_t begin, std::uint64_t end) const {
    return std::any_of(m_files.begin(), m_files.end(),
                       [&](const auto &file) { return begin < file->end && file->first.begin < end; });
}

void Modules::report(const Mapping &first, std::uint64_t end) {
    if (overlapsKnown(first.begin, end))
        return;
    if (m_files.size() == m_limit) {
        m_limitReached = true;
        return;
    }
    Dwfl_Module *module = dwfl_report_module(m_dwfl, first.path.c_str(), first.begin, end);
    if (module == nullptr)
        return;
    m_files.push_back(std::make_unique<ModuleFile>(ModuleFile{m_memory, m_root, first, end, {}, {}}));
    void **userData = nullptr;
    dwfl_module_info(module, &userData, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    *userData = m_files.back().get();
}

Dwfl_Module *Modules::at(std::uint64_t address) {
    Dwfl_Module *module = dwfl_addrmodule(m_dwfl, address);
    if (module == nullptr && std::chrono::steady_clock::now() - m_lastLook > std::chrono::seconds(1)) {
        refresh();
        module = dwfl_addrmodule(m_dwfl, address);
    }
    return module;
}

std::string Modules::nameOf(Dwfl_Module *module) const {
    const std::string &path = fileOf(module).first.path;
    return escaped(path.substr(path.rfind('/') + 1), 256);
}

std::string Modules::text() const {
    std::string result;
    dwfl_getmodules(m_dwfl, appendLine, &result, 0);
    if (m_limitReached)
        result += "More than " + std::to_string(m_limit) + " libraries; the rest is left out.\n";
    return result;
}

} // namespace spindump
