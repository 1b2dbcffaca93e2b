#include "platform/SingleInstance.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using platform::claimSingleInstance;

QString identifierOfThisTest(const QString &name) {
    return QStringLiteral("com.brennic.test.%1.%2").arg(name).arg(::getpid());
}

TEST(SingleInstance, IsClaimedOnce) {
    const QString identifier = identifierOfThisTest(QStringLiteral("once"));
    EXPECT_TRUE(claimSingleInstance(identifier));
    EXPECT_FALSE(claimSingleInstance(identifier));
    EXPECT_TRUE(claimSingleInstance(identifier + QStringLiteral(".other")));
}

TEST(SingleInstance, IsFreeAgainWhenItsProcessWasKilled) {
    const QString identifier = identifierOfThisTest(QStringLiteral("killed"));
    int ready[2] = {};
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t holder = ::fork();
    if (holder == 0) {
        const char claimed = claimSingleInstance(identifier) ? 1 : 0;
        (void)!::write(ready[1], &claimed, 1);
        for (;;)
            ::pause();
    }
    char claimed = 0;
    ASSERT_EQ(::read(ready[0], &claimed, 1), 1);
    EXPECT_EQ(claimed, 1);
    EXPECT_FALSE(claimSingleInstance(identifier));
    ::kill(holder, SIGKILL);
    ASSERT_EQ(::waitpid(holder, nullptr, 0), holder);
    EXPECT_TRUE(claimSingleInstance(identifier));
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST(SingleInstance, IsClaimedInEveryContainer) {
    constexpr int notAllowed = 2;
    const QString identifier = identifierOfThisTest(QStringLiteral("container"));
    EXPECT_TRUE(claimSingleInstance(identifier));
    const pid_t maker = ::fork();
    if (maker == 0) {
        if (::unshare(CLONE_NEWPID) != 0)
            ::_exit(notAllowed);
        const pid_t inside = ::fork();
        if (inside == 0)
            ::_exit(claimSingleInstance(identifier) && !claimSingleInstance(identifier) ? 0 : 1);
        int status = 0;
        ::waitpid(inside, &status, 0);
        ::_exit(WEXITSTATUS(status));
    }
    int status = 0;
    ASSERT_EQ(::waitpid(maker, &status, 0), maker);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    if (WEXITSTATUS(status) == notAllowed)
        GTEST_SKIP() << "this machine makes no containers for this user";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(SingleInstance, IsNobodysUnderATooLongName) {
    EXPECT_FALSE(claimSingleInstance(QString(200, u'a')));
}

} // namespace
