// What a test changes in the machine for itself alone: namespaces, mounts and networks.
#pragma once

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>

// For tests that mount something, or must see no other processes than theirs.
#define REQUIRE_OWN_NAMESPACES()                                                                             \
    if (!test_support::hasOwnNamespaces())                                                                   \
    GTEST_SKIP() << "this machine gives a test no namespaces of its own"

namespace test_support {

/// Goes on in a child process with its own process and mount namespaces, so that a test finds no running
/// product but its own and may mount what it needs; this process waits, and ends with the child's status.
/// Where the machine has none for it, waits until it is the only test.
void isolate();

/// Whether this process may mount file systems and make network namespaces without anybody noticing.
bool hasOwnNamespaces();

/// Registers `body` as the test `suite`.`name` when `condition` holds: a test of what this machine is unable
/// to show is then not there, in place of being skipped.
bool registerTestIf(bool condition, const char *suite, const char *name, void (*body)());

/// A file system, unmounted with its object. Only with `hasOwnNamespaces()`.
class Mount {
public:
    /// An empty file system in memory that holds so many bytes.
    static Mount memory(const std::filesystem::path &folder, std::uint64_t bytes);
    /// `folder` itself, without its entries being writable.
    static Mount readOnly(const std::filesystem::path &folder);
    /// `folder` itself, where changes go to `changes` instead, an empty folder of a file system in memory.
    static Mount changeable(const std::filesystem::path &folder, const std::filesystem::path &changes);
    /// `source`, a file or a folder, in the place of `target`, of the same kind.
    static Mount over(const std::filesystem::path &source, const std::filesystem::path &target);

    ~Mount();
    Mount(const Mount &) = delete;
    Mount &operator=(const Mount &) = delete;

private:
    explicit Mount(std::filesystem::path target)
        : m_target(std::move(target)) {}

    std::filesystem::path m_target;
};

// Networks that lead nowhere, entered by system calls alone, so also between fork and exec. They end the
// process with status 126 when the machine does not let them.
/// No interface is up, not even the loopback.
void enterNoNetwork();
/// Only the loopback is up.
void enterLoopbackNetwork();
/// One interface is up; no route leads beyond its own network, which loses whatever is sent.
void enterLonelyNetwork();
/// Goes on as another user, who may not have another thread or process, by system calls alone. Ends the
/// process with status 126 when the machine does not let it.
void enterNoThreads();
/// Gives that user everything below `folder`.
void giveToUserWithoutThreads(const std::filesystem::path &folder);

/// Whether this machine lets a test enter that.
bool canEnter(void (*place)());

} // namespace test_support
