#include "test_support/Isolation.h"
#include "test_support/ScratchHome.h"

#include <gmock/gmock.h>
#include <string_view>
#include <sys/stat.h>

int main(int argumentCount, char **arguments) {
    ::umask(077);
    test_support::forgetTheMachinesSettings();
    bool listsOnly = false;
    for (int i = 1; i < argumentCount; ++i)
        listsOnly = listsOnly || std::string_view(arguments[i]) == "--gtest_list_tests";
    if (!listsOnly)
        test_support::isolate();
    testing::InitGoogleMock(&argumentCount, arguments);
    return RUN_ALL_TESTS();
}
