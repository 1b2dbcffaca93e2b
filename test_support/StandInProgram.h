// Replaces one of the system's programs for one test.
//
// Only with `hasOwnNamespaces()`.
#pragma once

#include "test_support/Mounts.h"
#include "test_support/ScratchHome.h"

#include <memory>
#include <string>
#include <vector>

namespace test_support {

/// Is "/usr/bin/<name>", whether or not there is such a program, and notes how it is called.
class StandInProgram {
public:
    /// `script` is what it does then, a shell's lines.
    explicit StandInProgram(const std::string &name, const QByteArray &script = {});

    /// Each call so far: the path by which the program was started, and its arguments.
    std::vector<std::vector<std::string>> calls() const;

private:
    ScratchFolder m_folder;
    std::unique_ptr<Mount> m_real;
    std::unique_ptr<Mount> m_mount;
};

} // namespace test_support
