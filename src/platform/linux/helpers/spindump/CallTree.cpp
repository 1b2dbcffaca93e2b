#include "CallTree.h"

#include <algorithm>

namespace spindump {

void CallTree::add(const std::vector<const Symbol *> &chain, std::uint64_t samples) {
    std::size_t at = 0;
    std::size_t depth = 0;
    for (const Symbol *symbol : chain) {
        if (at == 0 || m_calls[at].function != symbol->function) {
            const auto [known, isNew] = m_calls[at].calls.try_emplace(symbol->function, m_calls.size());
            at = known->second;
            if (isNew)
                m_calls.push_back({.function = symbol->function});
            m_calls[at].samples += samples;
            depth = 0;
        }
        Call &call = m_calls[at];
        call.depth = std::max(call.depth, ++depth);
        if (!symbol->line.isEmpty())
            call.lines[symbol->line] += samples;
    }
}

// Lightest first.
std::vector<std::size_t> CallTree::callsFrom(std::size_t caller) const {
    std::vector<std::size_t> result;
    const auto &calls = m_calls[caller].calls;
    for (auto call = calls.rbegin(); call != calls.rend(); ++call)
        result.push_back(call->second);
    std::ranges::stable_sort(result, {}, [this](std::size_t call) { return m_calls[call].samples; });
    return result;
}

QByteArray CallTree::line(const Call &call, std::size_t level) const {
    // Deeper levels keep their number where more blanks would only push them off the page.
    constexpr std::size_t deepestIndent = 60;
    QByteArray text = QByteArray::number(call.samples).rightJustified(8) + "  " +
                      QByteArray(static_cast<qsizetype>(std::min(level, deepestIndent)), ' ');
    if (level > deepestIndent)
        text += "[" + QByteArray::number(level) + "] ";
    text += call.function;
    const auto heaviest =
        std::ranges::max_element(call.lines, {}, [](const auto &line) { return line.second; });
    if (heaviest != call.lines.end())
        text += "  " + heaviest->first;
    if (call.lines.size() > 1)
        text += " and other lines";
    if (call.depth > 1)
        text += "  [calls itself, up to " + QByteArray::number(call.depth) + " deep]";
    return text + '\n';
}

QByteArray CallTree::text(std::size_t lineLimit) const {
    QByteArray result;
    std::size_t lines = 0;
    std::vector<std::pair<std::size_t, std::size_t>> open;
    const auto openCallsFrom = [&](std::size_t caller, std::size_t level) {
        for (const std::size_t call : callsFrom(caller))
            open.emplace_back(call, level);
    };
    for (openCallsFrom(0, 0); !open.empty() && lines < lineLimit; ++lines) {
        const auto [call, level] = open.back();
        open.pop_back();
        result += line(m_calls[call], level);
        openCallsFrom(call, level + 1);
    }
    if (!open.empty())
        result +=
            "          … " + QByteArray::number(m_calls.size() - 1 - lines) + " more calls are left out\n";
    return result;
}

} // namespace spindump
