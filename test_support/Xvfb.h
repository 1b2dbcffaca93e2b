// A display without a screen, for programs with a window. It is the test's own and goes with its object.
#pragma once

#include "test_support/ProgramRun.h"

#include <memory>
#include <string>

namespace test_support {

struct DisplaySize {
    int width = 1280;
    int height = 1024;
};

class Xvfb {
public:
    /// Takes clients when it returns. Ends the process when there is no such display to be had.
    explicit Xvfb(DisplaySize size = {});

    /// What DISPLAY is to be.
    const std::string &name() const { return m_name; }
    DisplaySize size() const { return m_size; }

private:
    DisplaySize m_size;
    std::unique_ptr<ProgramRun> m_server;
    std::string m_name;
};

} // namespace test_support
