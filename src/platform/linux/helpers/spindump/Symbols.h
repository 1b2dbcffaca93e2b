// What code addresses are called: function, library, source line.
//
// Each address is looked up once. One thread.
#pragma once

#include "Modules.h"

#include <string>
#include <unordered_map>

namespace spindump {

struct Symbol {
    /// Ready for a report: "function  (library)", or the address and its place in the library.
    std::string function;
    /// "file:line"; empty when it is not known.
    std::string line;
};

class Symbols {
public:
    /// Source lines, which can take long in large programs, are looked up for `lineTime` at most.
    Symbols(Modules &modules, std::chrono::steady_clock::duration lineTime);

    const Symbol &at(std::uint64_t address);
    bool leftOutLines() const { return m_leftOutLines; }

private:
    Symbol lookUp(std::uint64_t address);
    std::string lineOf(Dwfl_Module *module, std::uint64_t address);

    Modules &m_modules;
    std::chrono::steady_clock::time_point m_noLinesFrom;
    bool m_leftOutLines = false;
    std::unordered_map<std::uint64_t, Symbol> m_known;
};

/// A C++ name as a programmer writes it, escaped; other names, and names made to be endless when written out,
/// as they stand.
std::string readableName(const char *name);

} // namespace spindump
