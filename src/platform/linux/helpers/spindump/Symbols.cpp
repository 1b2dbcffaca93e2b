#include "Symbols.h"

#include "EscapedText.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>

namespace spindump {

namespace {

std::string hexadecimal(std::uint64_t value) {
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "0x%" PRIx64, value);
    return text.data();
}

// A name may refer back to parts of itself, and these to others: each reference can at most double what is
// written out, so a bounded number of them bounds the whole.
bool isBounded(std::string_view name) {
    constexpr std::size_t longest = 1024;
    constexpr int mostReferences = 40;
    int references = 0;
    for (std::size_t i = 0; i + 1 < name.size(); ++i) {
        const bool refers = name[i] == 'S' || name[i] == 'T';
        const char next = name[i + 1];
        if (refers && (next == '_' || (next >= '0' && next <= '9') || (next >= 'A' && next <= 'Z')))
            ++references;
    }
    return name.size() <= longest && references <= mostReferences;
}

} // namespace

std::string readableName(const char *name) {
    constexpr std::size_t limitBytes = 512;
    std::string plain(name, ::strnlen(name, 64 * limitBytes));
    // Behind it stands the version of the library that the name came with.
    plain.resize(std::min(plain.find('@'), plain.size()));
    if (!plain.starts_with("_Z") || !isBounded(plain))
        return escaped(plain, limitBytes);
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> written(
        abi::__cxa_demangle(plain.c_str(), nullptr, nullptr, &status), std::free);
    return escaped(status == 0 && written ? std::string_view(written.get()) : std::string_view(plain),
                   limitBytes);
}

Symbols::Symbols(Modules &modules, std::chrono::steady_clock::duration lineTime)
    : m_modules(modules)
    , m_noLinesFrom(std::chrono::steady_clock::now() + lineTime) {}

const Symbol &Symbols::at(std::uint64_t address) {
    const auto known = m_known.find(address);
    return known != m_known.end() ? known->second : m_known.emplace(address, lookUp(address)).first->second;
}

Symbol Symbols::lookUp(std::uint64_t address) {
    Dwfl_Module *module = m_modules.at(address);
    if (module == nullptr)
        return {hexadecimal(address) + "  (in no library)", {}};
    GElf_Off offset = 0;
    GElf_Sym symbol{};
    const char *name = dwfl_module_addrinfo(module, address, &offset, &symbol, nullptr, nullptr, nullptr);
    const std::string library = m_modules.nameOf(module);
    if (name == nullptr || *name == '\0') {
        Dwarf_Addr begin = 0;
        dwfl_module_info(module, nullptr, &begin, nullptr, nullptr, nullptr, nullptr, nullptr);
        return {hexadecimal(address) + "  (" + library + " + " + hexadecimal(address - begin) + ")", {}};
    }
    return {readableName(name) + "  (" + library + ")", lineOf(module, address)};
}

std::string Symbols::lineOf(Dwfl_Module *module, std::uint64_t address) {
    if (std::chrono::steady_clock::now() > m_noLinesFrom) {
        m_leftOutLines = true;
        return {};
    }
    Dwfl_Line *line = dwfl_module_getsrc(module, address);
    int number = 0;
    const char *file =
        line == nullptr ? nullptr : dwfl_lineinfo(line, nullptr, &number, nullptr, nullptr, nullptr);
    if (file == nullptr || number <= 0)
        return {};
    const std::string_view path(file, ::strnlen(file, 4096));
    return escaped(path.substr(path.rfind('/') + 1), 256) + ':' + std::to_string(number);
}

} // namespace spindump
