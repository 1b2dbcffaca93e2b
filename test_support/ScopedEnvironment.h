// An environment variable set, or unset, for the time of a scope.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace test_support {

class ScopedEnvironment {
public:
    ScopedEnvironment(const char *name, const std::optional<std::string> &value)
        : m_name(name) {
        if (const char *before = std::getenv(name))
            m_before = before;
        apply(value);
    }
    ~ScopedEnvironment() { apply(m_before); }
    ScopedEnvironment(const ScopedEnvironment &) = delete;
    ScopedEnvironment &operator=(const ScopedEnvironment &) = delete;

private:
    void apply(const std::optional<std::string> &value) {
        if (value)
            ::setenv(m_name.c_str(), value->c_str(), 1);
        else
            ::unsetenv(m_name.c_str());
    }

    std::string m_name;
    std::optional<std::string> m_before;
};

} // namespace test_support
