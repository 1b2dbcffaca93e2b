#include "platform/ScriptRunner.h"

#include "platform/posix/Program.h"
#include "test_support/Machine.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

using platform::runScript;
using platform::Script;
using platform::ScriptError;

class Scripts : public testing::Test {
protected:
    // The command as a script, and by itself.
    Script script(const fs::path &command) const {
        return {.text = QStringLiteral("do shell script \"%1 two > '%2'\"")
                            .arg(QString::fromStdString(command), QString::fromStdString(output)),
                .command = command,
                .arguments = {"two"},
                .standardOutput = output};
    }
    Script commandOf(const QByteArray &content) const {
        const fs::path command = machine.home() / "command";
        test_support::writeProgram(command, "#!/bin/sh\n" + content);
        return script(command);
    }

    test_support::Machine machine;
    const fs::path output = machine.home() / "the output";
};

TEST_F(Scripts, RunToTheirEndAndLeaveTheirOutput) {
    EXPECT_EQ(runScript(commandOf("echo \"one $1\"; echo any >&2")), std::nullopt);
    EXPECT_EQ(test_support::readFile(output), "one two\n");
}

TEST_F(Scripts, GiveTheStatusAndTheErrorsOfWhatFailed) {
    EXPECT_EQ(runScript(commandOf("echo what is wrong >&2; exit 3")),
              (ScriptError{3, QStringLiteral("what is wrong")}));
    const auto error = runScript(script(machine.home() / "missing"));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->number, 127);
}

TEST_F(Scripts, DoNotStartOnceTheProgramIsEnding) {
    platform::stopPrograms();
    EXPECT_EQ(runScript(commandOf("exit 0")), platform::programIsEnding);
    EXPECT_FALSE(fs::exists(output));
    EXPECT_EQ(platform::programIsEnding,
              (ScriptError{-128, QStringLiteral("The command was stopped because the program is ending.")}));
}

TEST(ScriptErrorTest, IsPrintedOnOneLine) {
    EXPECT_EQ((ScriptError{-128, QStringLiteral("User \"canceled\".\n")}.printedDescription()),
              QStringLiteral("[\"NSAppleScriptErrorMessage\": \"User \\\"canceled\\\".\\n\", "
                             "\"NSAppleScriptErrorNumber\": -128]"));
}

} // namespace
