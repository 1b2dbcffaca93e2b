#include "platform/Sockets.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

// Two ends of a connection over the loopback interface.
class ConnectionTest : public testing::Test {
protected:
    ConnectionTest() {
        const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        struct sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto *generic = reinterpret_cast<struct sockaddr *>(&address);
        if (::bind(listener, generic, size) != 0 || ::listen(listener, 1) != 0 ||
            ::getsockname(listener, generic, &size) != 0 || ::connect(sender, generic, size) != 0)
            std::abort();
        receiver = ::accept(listener, nullptr, nullptr);
        ::close(listener);
    }
    ~ConnectionTest() override {
        ::close(sender);
        ::close(receiver);
    }

    int sender = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int receiver = -1;
};

TEST_F(ConnectionTest, WhatTheOtherSideDoesNotTakeIsUnsentAndShrinksAsItReads) {
    const std::string block(1 << 16, 'x');
    while (::send(sender, block.data(), block.size(), MSG_DONTWAIT) > 0) {
    }
    const std::size_t unsent = platform::unsentBytes(sender);
    EXPECT_GT(unsent, 0U);
    std::string buffer(1 << 20, ' ');
    for (int i = 0; i < 100 && platform::unsentBytes(sender) >= unsent; ++i) {
        ::recv(receiver, buffer.data(), buffer.size(), MSG_DONTWAIT);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_LT(platform::unsentBytes(sender), unsent);
}

TEST(Sockets, NothingIsUnsentOnWhatIsNoConnection) {
    const int file = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(platform::unsentBytes(file), 0U);
    ::close(file);
    EXPECT_EQ(platform::unsentBytes(-1), 0U);
}

} // namespace
