// How often each chain of calls was seen, by code address.
//
// Chains share their outer calls. An address that follows itself, as in a recursion, is one node.
#pragma once

#include "Unwinder.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace spindump {

class CallTree {
public:
    struct Node {
        std::uint64_t address = 0;
        /// An index into `nodes()`, smaller than the node's own; the first node's is its own.
        std::uint32_t parent = 0;
        /// Samples that ended here, not in a call from here.
        std::uint64_t ownSamples = 0;
        /// How often in a row at most.
        std::uint32_t longestRun = 1;
    };

    CallTree();

    /// Adds `weight` samples of a chain. Takes new nodes from `room`; when none is left, the chain counts as
    /// far as it is known.
    void add(const UnwoundStack &stack, std::uint32_t weight, std::size_t &room);

    /// The first one stands for the thread itself.
    const std::vector<Node> &nodes() const { return m_nodes; }
    std::uint64_t samples() const { return m_samples; }
    std::uint64_t samplesTooDeep() const { return m_tooDeep; }
    std::uint64_t samplesBeyondCopy() const { return m_beyondCopy; }
    std::uint64_t samplesWithoutRoom() const { return m_withoutRoom; }

private:
    struct Call {
        std::uint32_t parent;
        std::uint64_t address;
        friend bool operator==(const Call &, const Call &) = default;
    };
    struct Hash {
        std::size_t operator()(const Call &call) const;
    };

    std::vector<Node> m_nodes;
    std::unordered_map<Call, std::uint32_t, Hash> m_calls;
    std::uint64_t m_samples = 0;
    std::uint64_t m_tooDeep = 0;
    std::uint64_t m_beyondCopy = 0;
    std::uint64_t m_withoutRoom = 0;
};

} // namespace spindump
