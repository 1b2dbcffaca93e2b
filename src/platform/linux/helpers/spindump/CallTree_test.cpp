#include "CallTree.h"

#include <gtest/gtest.h>

namespace spindump {

namespace {

const Symbol start{"main", "m.c:1"};
const Symbol work{"work", "m.c:5"};
const Symbol workElsewhere{"work", "m.c:6"};
const Symbol idle{"idle", ""};

TEST(CallTree, SharesOuterCallsHeaviestFirst) {
    CallTree tree;
    tree.add({&start, &idle}, 2);
    tree.add({&start, &work}, 5);
    tree.add({&start, &workElsewhere, &idle}, 1);
    EXPECT_EQ(tree.text(10), "       8  main  m.c:1\n"
                             "       6   work  m.c:5 and other lines\n"
                             "       1    idle\n"
                             "       2   idle\n");
    EXPECT_EQ(tree.text(2), "       8  main  m.c:1\n"
                            "       6   work  m.c:5 and other lines\n"
                            "          … 2 more calls are left out\n");
}

TEST(CallTree, KeepsARecursionInOneLine) {
    CallTree tree;
    tree.add({&start, &work, &workElsewhere, &work, &idle, &work}, 1);
    EXPECT_EQ(tree.text(10), "       1  main  m.c:1\n"
                             "       1   work  m.c:5 and other lines  [calls itself, up to 3 deep]\n"
                             "       1    idle\n"
                             "       1     work  m.c:5\n");
}

} // namespace

} // namespace spindump
