// A thread's calls by function, with the number of samples of each, and their text.
#pragma once

#include <QByteArray>
#include <cstdint>
#include <map>
#include <vector>

namespace spindump {

struct Symbol {
    /// Ready for a report: "function  (library)", or the address and its place in the library.
    QByteArray function;
    /// "file:line"; empty when it is not known.
    QByteArray line;
};

class CallTree {
public:
    /// Adds `samples` of a chain of calls, outermost first. A function that calls itself is one call.
    void add(const std::vector<const Symbol *> &chain, std::uint64_t samples);

    /// A line for each call, heaviest first, indented below its caller, `lineLimit` lines at most.
    QByteArray text(std::size_t lineLimit) const;

private:
    /// Calls of one function from one caller, from whatever line.
    struct Call {
        QByteArray function = {};
        std::uint64_t samples = 0;
        /// How deep the function called itself.
        std::size_t depth = 1;
        std::map<QByteArray, std::uint64_t> lines = {};
        /// Indices of the calls from here, by function.
        std::map<QByteArray, std::size_t> calls = {};
    };
    std::vector<std::size_t> callsFrom(std::size_t caller) const;
    QByteArray line(const Call &call, std::size_t level) const;

    /// The first one is the thread itself.
    std::vector<Call> m_calls{1};
};

} // namespace spindump
