#include "CallTree.h"

#include <algorithm>
#include <functional>

namespace spindump {

CallTree::CallTree()
    : m_nodes(1) {}

std::size_t CallTree::Hash::operator()(const Call &call) const {
    constexpr std::uint64_t spread = 0x9E3779B97F4A7C15u;
    return std::hash<std::uint64_t>()((call.address + call.parent * spread) * spread);
}

void CallTree::add(const UnwoundStack &stack, std::uint32_t weight, std::size_t &room) {
    m_samples += weight;
    if (stack.end == StackEnd::tooDeep)
        m_tooDeep += weight;
    if (stack.end == StackEnd::beyondCopy)
        m_beyondCopy += weight;
    std::uint32_t at = 0;
    std::uint32_t run = 1;
    for (auto address = stack.addresses.rbegin(); address != stack.addresses.rend(); ++address) {
        if (at != 0 && m_nodes[at].address == *address) {
            m_nodes[at].longestRun = std::max(m_nodes[at].longestRun, ++run);
            continue;
        }
        run = 1;
        const Call call{at, *address};
        const auto known = m_calls.find(call);
        if (known != m_calls.end()) {
            at = known->second;
            continue;
        }
        if (room == 0) {
            m_withoutRoom += weight;
            break;
        }
        --room;
        m_nodes.push_back({.address = *address, .parent = at});
        at = static_cast<std::uint32_t>(m_nodes.size() - 1);
        m_calls.emplace(call, at);
    }
    m_nodes[at].ownSamples += weight;
}

} // namespace spindump
