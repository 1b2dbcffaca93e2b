#include "CallTree.h"

#include <gtest/gtest.h>

namespace {

using spindump::CallTree;
using spindump::StackEnd;

TEST(CallTree, SharesOuterCalls) {
    CallTree tree;
    std::size_t room = 100;
    tree.add({{3, 2, 1}}, 5, room);
    tree.add({{4, 2, 1}}, 1, room);
    tree.add({{2, 1}}, 2, room);
    ASSERT_EQ(tree.nodes().size(), 5u);
    EXPECT_EQ(tree.samples(), 8u);
    EXPECT_EQ(tree.nodes()[2].address, 2u);
    EXPECT_EQ(tree.nodes()[2].ownSamples, 2u);
    EXPECT_EQ(tree.nodes()[3].ownSamples, 5u);
    EXPECT_EQ(tree.nodes()[4].parent, 2u);
}

TEST(CallTree, KeepsARecursionInOneNode) {
    CallTree tree;
    std::size_t room = 100;
    std::vector<std::uint64_t> addresses(10'000, 7);
    addresses.push_back(1);
    tree.add({addresses}, 1, room);
    ASSERT_EQ(tree.nodes().size(), 3u);
    EXPECT_EQ(tree.nodes()[2].longestRun, 10'000u);
}

TEST(CallTree, CountsWhatDoesNotFit) {
    CallTree tree;
    std::size_t room = 2;
    tree.add({{3, 2, 1}}, 4, room);
    EXPECT_EQ(room, 0u);
    EXPECT_EQ(tree.nodes().size(), 3u);
    EXPECT_EQ(tree.nodes()[2].ownSamples, 4u);
    EXPECT_EQ(tree.samplesWithoutRoom(), 4u);
    tree.add({{2, 1}, StackEnd::tooDeep}, 1, room);
    tree.add({{2, 1}, StackEnd::beyondCopy}, 1, room);
    EXPECT_EQ(tree.samplesWithoutRoom(), 4u);
    EXPECT_EQ(tree.samplesTooDeep(), 1u);
    EXPECT_EQ(tree.samplesBeyondCopy(), 1u);
}

} // namespace
