// Tests of what a machine may be unable to show. They are there only where it is able to: none is passed
// over.
#pragma once

#include <gtest/gtest.h>

namespace test_support {

/// Registers `body` as the test `suite`.`name` when `condition` holds.
inline bool registerTestIf(bool condition, const char *suite, const char *name, void (*body)()) {
    class Conditional : public testing::Test {
    public:
        explicit Conditional(void (*test)())
            : m_body(test) {}
        void TestBody() override { m_body(); }

    private:
        void (*m_body)();
    };
    if (condition)
        testing::RegisterTest(suite, name, nullptr, nullptr, __FILE__, __LINE__,
                              [body]() -> testing::Test * { return new Conditional(body); });
    return condition;
}

} // namespace test_support
