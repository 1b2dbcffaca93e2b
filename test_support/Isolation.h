// Keeps tests that run at the same time from seeing each other.
#pragma once

namespace test_support {

/// Goes on in a child process with process and mount namespaces of its own, where the machine allows that, so
/// that a test finds no running product but its own and may mount what it needs; this process waits, and ends
/// with the child's status. Elsewhere waits until it is the only test.
void isolate();

/// Whether this process may mount file systems and make network namespaces without anybody noticing.
bool hasOwnNamespaces();

} // namespace test_support
