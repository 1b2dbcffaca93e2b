#include "TreeText.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <map>

namespace spindump {

namespace {

// Calls of one function from one caller, from whatever line.
struct FunctionNode {
    const std::string *function = nullptr;
    std::size_t parent = 0;
    std::uint64_t samples = 0;
    /// How deep the function called itself.
    std::uint32_t depth = 1;
    std::map<std::string, std::uint64_t> lines = {};
    std::vector<std::size_t> children = {};
};

class FunctionTree {
public:
    FunctionTree(const CallTree &calls, Symbols &symbols);

    std::string text(std::size_t lineLimit);

private:
    struct Place {
        std::size_t node = 0;
        std::uint32_t depth = 0;
    };
    std::vector<std::uint64_t> totals(const CallTree &calls) const;
    Place placeOf(const Place &parent, const std::string &function, std::uint32_t run);
    void sortChildren();
    std::string line(const FunctionNode &node, std::size_t level) const;

    std::vector<FunctionNode> m_nodes{1};
    std::map<std::pair<std::size_t, std::string>, std::size_t> m_known;
};

std::vector<std::uint64_t> FunctionTree::totals(const CallTree &calls) const {
    std::vector<std::uint64_t> result(calls.nodes().size());
    for (std::size_t i = result.size(); i-- > 1;) {
        result[i] += calls.nodes()[i].ownSamples;
        result[calls.nodes()[i].parent] += result[i];
    }
    return result;
}

// A function that calls itself stays one node; its samples count once.
FunctionTree::FunctionTree(const CallTree &calls, Symbols &symbols) {
    constexpr std::size_t mostLines = 16;
    const auto samples = totals(calls);
    std::vector<Place> places(calls.nodes().size());
    for (std::size_t i = 1; i < places.size(); ++i) {
        const CallTree::Node &call = calls.nodes()[i];
        const Symbol &symbol = symbols.at(call.address);
        const Place &parent = places[call.parent];
        places[i] = placeOf(parent, symbol.function, call.longestRun);
        FunctionNode &node = m_nodes[places[i].node];
        if (places[i].node != parent.node)
            node.samples += samples[i];
        if (!symbol.line.empty() && (node.lines.size() < mostLines || node.lines.contains(symbol.line)))
            node.lines[symbol.line] += samples[i];
    }
    sortChildren();
}

FunctionTree::Place FunctionTree::placeOf(const Place &parent, const std::string &function,
                                          std::uint32_t run) {
    Place place{parent.node, parent.depth + run};
    const FunctionNode &caller = m_nodes[parent.node];
    if (caller.function == nullptr || *caller.function != function) {
        place.depth = run;
        const auto [known, isNew] = m_known.try_emplace({parent.node, function}, m_nodes.size());
        place.node = known->second;
        if (isNew) {
            m_nodes[parent.node].children.push_back(place.node);
            m_nodes.push_back({.function = &known->first.second, .parent = parent.node});
        }
    }
    m_nodes[place.node].depth = std::max(m_nodes[place.node].depth, place.depth);
    return place;
}

void FunctionTree::sortChildren() {
    const auto heavier = [this](std::size_t left, std::size_t right) {
        const FunctionNode &a = m_nodes[left];
        const FunctionNode &b = m_nodes[right];
        return a.samples != b.samples ? a.samples > b.samples : *a.function < *b.function;
    };
    for (FunctionNode &node : m_nodes)
        std::sort(node.children.begin(), node.children.end(), heavier);
}

std::string FunctionTree::line(const FunctionNode &node, std::size_t level) const {
    // Deeper levels keep their number where more blanks would only push them off the page.
    constexpr std::size_t deepestIndent = 60;
    std::array<char, 32> count{};
    std::snprintf(count.data(), count.size(), "%8" PRIu64 "  ", node.samples);
    std::string text = count.data() + std::string(std::min(level, deepestIndent), ' ');
    if (level > deepestIndent)
        text += "[" + std::to_string(level) + "] ";
    text += *node.function;
    const auto heaviest =
        std::max_element(node.lines.begin(), node.lines.end(),
                         [](const auto &left, const auto &right) { return left.second < right.second; });
    if (heaviest != node.lines.end())
        text += "  " + heaviest->first;
    if (node.lines.size() > 1)
        text += " and other lines";
    if (node.depth > 1)
        text += "  [calls itself, up to " + std::to_string(node.depth) + " deep]";
    return text + '\n';
}

std::string FunctionTree::text(std::size_t lineLimit) {
    std::string result;
    std::size_t lines = 0;
    std::vector<std::pair<std::size_t, std::size_t>> open;
    const auto openChildren = [&](std::size_t node, std::size_t level) {
        const auto &children = m_nodes[node].children;
        for (auto child = children.rbegin(); child != children.rend(); ++child)
            open.emplace_back(*child, level);
    };
    openChildren(0, 0);
    while (!open.empty() && lines < lineLimit) {
        const auto [node, level] = open.back();
        open.pop_back();
        result += line(m_nodes[node], level);
        ++lines;
        openChildren(node, level + 1);
    }
    if (!open.empty())
        result += "          … " + std::to_string(m_nodes.size() - 1 - lines) + " more calls are left out\n";
    return result;
}

void appendNote(std::string &text, std::uint64_t samples, const char *note) {
    if (samples > 0)
        text += "          Note: in " + std::to_string(samples) + " samples " + note + ".\n";
}

} // namespace

std::string treeText(const CallTree &tree, Symbols &symbols, std::size_t lineLimit) {
    std::string text = FunctionTree(tree, symbols).text(lineLimit);
    appendNote(text, tree.samplesTooDeep(), "the calls were nested too deep; the outermost are not shown");
    appendNote(text, tree.samplesBeyondCopy(), "the stack was too large; the outermost calls are not shown");
    appendNote(text, tree.samplesWithoutRoom(),
               "there were too many different calls; the innermost are not shown");
    if (symbols.leftOutLines())
        text += "          Note: some source lines are left out, since finding them took too long.\n";
    return text;
}

} // namespace spindump
