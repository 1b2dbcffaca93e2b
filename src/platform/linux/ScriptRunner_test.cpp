#include "platform/ScriptRunner.h"

#include "platform/posix/Program.h"
#include "test_support/Isolation.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>
#include <tuple>

namespace fs = std::filesystem;

namespace {

using platform::runScript;
using platform::Script;
using platform::ScriptError;
using test_support::readFile;
using test_support::writeFile;

class ScriptRunnerTest : public testing::Test {
protected:
    ScriptRunnerTest() { fs::permissions(folder.path(), fs::perms(0777)); }

    fs::path makeCommand(const QByteArray &script, const char *name = "command") {
        fs::path path = folder.path() / name;
        writeFile(path, "#!/bin/sh\n" + script);
        fs::permissions(path, fs::perms(0755));
        return path;
    }
    static Script script(const fs::path &command, const std::vector<std::string> &arguments = {},
                         const fs::path &output = {}) {
        return {.text = {}, .command = command, .arguments = arguments, .standardOutput = output};
    }

    test_support::ScratchFolder folder;
    fs::path out = folder.path() / "it's here";
    fs::path missing = folder.path() / "missing";
    const QString notFound = QString::fromStdString(missing.native()) + QStringLiteral(": command not found");
};

TEST_F(ScriptRunnerTest, GivesTheStatusAndTheFirstLinesOfTheErrors) {
    const std::pair<const char *, ScriptError> cases[] = {
        {"printf '\\n  what is wrong \\n\\ttwo\\nthree\\nfour\\n' >&2; exit 3",
         {3, QStringLiteral("what is wrong\ntwo\nthree")}},
        {"exit 4", {4, QStringLiteral("The command exited with a non-zero status.")}},
        // By itself a command may end with any status and text.
        {"echo Request dismissed >&2; exit 126", {126, QStringLiteral("Request dismissed")}},
        {"head -c 100000 /dev/zero | tr '\\0' x >&2; exit 1", {1, QString(400, u'x')}},
        {"echo last words >&2; kill -KILL $$", {137, QStringLiteral("The command was killed by signal 9.")}}};
    for (const auto &[command, error] : cases)
        EXPECT_EQ(runScript(script(makeCommand(command))), error) << command;
}

TEST_F(ScriptRunnerTest, SaysWhatIsMissingOrCannotBeRunOrWritten) {
    EXPECT_EQ(runScript(script(missing)), (ScriptError{127, notFound}));
    EXPECT_EQ(runScript(script("/etc/passwd")),
              (ScriptError{126, QStringLiteral("/etc/passwd: Permission denied")}));
    const fs::path nowhere = missing / "out";
    EXPECT_EQ(runScript(script(makeCommand("exit 0"), {}, nowhere)),
              (ScriptError{1, QString::fromStdString(nowhere.native()) +
                                  QStringLiteral(": No such file or directory")}));
}

TEST_F(ScriptRunnerTest, SaysThatTheProgramIsEnding) {
    platform::stopPrograms();
    EXPECT_EQ(runScript(script("/bin/true")),
              (ScriptError{-128, QStringLiteral("The command was stopped because the program is ending.")}));
}

TEST_F(ScriptRunnerTest, AsksForNoRightsThatTheProcessHas) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "this process is not root";
    Script wanted = script(makeCommand("tr '\\0' ' ' < /proc/$PPID/comm; id -u"), {}, out);
    wanted.rights = Script::Rights::administrator;
    EXPECT_EQ(runScript(wanted), std::nullopt);
    EXPECT_EQ(readFile(out), "platform_test\n0\n");
}

TEST(ScriptErrorTest, IsPrintedOnOneLine) {
    EXPECT_EQ((ScriptError{-128, QStringLiteral("User \"canceled\".\n")}.printedDescription()),
              QStringLiteral("[\"NSAppleScriptErrorMessage\": \"User \\\"canceled\\\".\\n\", "
                             "\"NSAppleScriptErrorNumber\": -128]"));
}

// The request for an administrator's rights, with a stand-in for the system's program: it says and returns
// what that program does.
class Elevation : public ScriptRunnerTest {
protected:
    void SetUp() override {
        if (!test_support::hasOwnNamespaces() || ::geteuid() != 0 || !test_support::canRunAs(65534))
            GTEST_SKIP() << "this machine gives a test no namespaces or no other user";
    }

    // Runs the script as an ordinary user, and gives the printed result.
    QString runElevated(const QByteArray &standIn, const Script &wanted) {
        const auto mount = test_support::Mount::over(makeCommand(standIn, "elevator"), "/usr/bin/pkexec");
        return runAsUser(wanted);
    }
    QString runAsUser(Script wanted) {
        wanted.rights = Script::Rights::administrator;
        const auto result = folder.path() / "result";
        EXPECT_EQ(test_support::statusInChild([&] {
                      if (::setresgid(65534, 65534, 65534) != 0 || ::setresuid(65534, 65534, 65534) != 0)
                          return 1;
                      const auto error = runScript(wanted);
                      writeFile(result, error ? error->printedDescription().toUtf8() : "none");
                      return 0;
                  }),
                  0);
        return QString::fromUtf8(readFile(result));
    }
    static QString printed(int number, const QString &message) {
        return ScriptError{number, message}.printedDescription();
    }

    const fs::path asked = folder.path() / "asked";
    const QByteArray noteAsked = "echo \"$#:$1\" > " + QByteArray::fromStdString(asked) + "; ";
};

TEST_F(Elevation, RunsTheCommandWithItsArgumentsThroughTheElevatorUnlessItIsMissing) {
    const fs::path command = makeCommand("printf '<%s>' \"$@\"; echo error >&2; exit $2");
    EXPECT_EQ(runElevated(noteAsked + "exec \"$@\"", script(command, {"two words", "0"}, out)),
              QStringLiteral("none"));
    EXPECT_EQ(readFile(out), "<two words><0>");
    EXPECT_EQ(readFile(asked), "3:" + QByteArray::fromStdString(command) + "\n");
    for (const int status : {126, 127})
        EXPECT_EQ(runElevated("exec \"$@\"", script(command, {"a", std::to_string(status)})),
                  printed(status, QStringLiteral("error")));
    fs::remove(asked);
    EXPECT_EQ(runElevated(noteAsked, script(missing)), printed(127, notFound));
    EXPECT_FALSE(fs::exists(asked));
}

TEST_F(Elevation, SaysHowTheRequestEnded) {
    const QByteArray prefix = "Error executing command as another user: ";
    const QByteArray reported = "\\n\\nThis incident has been reported.\\n' >&2; exit ";
    const QString nobody =
        QStringLiteral("There is no authentication agent to ask for an administrator's rights.");
    const std::tuple<QByteArray, int, QString> cases[] = {
        {"printf '" + prefix + "Request dismissed" + reported + "126", -128,
         QStringLiteral("User canceled.")},
        {"printf '" + prefix + "Not authorized" + reported + "127", 127,
         QStringLiteral("The administrator's rights were refused.")},
        {"echo '" + prefix + "No authentication agent found.' >&2; exit 127", 127, nobody},
        {"echo 'Error creating textual authentication agent: Error opening current controlling terminal for "
         "the "
         "process (`/dev/tty'\\''): No such device or address' >&2; exit 127",
         127, nobody},
        {"kill -TERM $$", 143, QStringLiteral("The command was killed by signal 15.")}};
    const Script wanted = script(makeCommand("exit 9"));
    for (const auto &[standIn, number, message] : cases)
        EXPECT_EQ(runElevated(standIn, wanted), printed(number, message)) << standIn.constData();
}

TEST_F(Elevation, SaysWhenThereIsNoElevator) {
    const auto bin = test_support::Mount::memory("/usr/bin", 1 << 20);
    fs::permissions("/usr/bin", fs::perms(0755));
    EXPECT_EQ(runAsUser(script("/etc/passwd")),
              printed(127, QStringLiteral("/usr/bin/pkexec: command not found")));
}

} // namespace
