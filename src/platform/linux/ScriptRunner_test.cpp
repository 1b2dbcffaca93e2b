#include "platform/ScriptRunner.h"

#include "platform/posix/Program.h"
#include "test_support/ChildProcess.h"
#include "test_support/Isolation.h"
#include "test_support/Mounts.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>
#include <thread>

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
        const fs::path path = folder.path() / name;
        writeFile(path, "#!/bin/sh\n" + script);
        fs::permissions(path, fs::perms(0755));
        return path;
    }

    Script script(const fs::path &command, const std::vector<std::string> &arguments = {}) {
        return {.text = QStringLiteral("do shell script"),
                .command = command,
                .arguments = arguments,
                .standardOutput = {}};
    }

    test_support::ScratchFolder folder;
};

TEST_F(ScriptRunnerTest, GivesNoErrorOfACommandThatSucceeds) {
    EXPECT_EQ(runScript(script(makeCommand("echo noise >&2; exit 0"))), std::nullopt);
}

TEST_F(ScriptRunnerTest, PassesArgumentsWithoutAShellAndKeepsTheOutput) {
    Script wanted = script(makeCommand("printf '<%s>' \"$@\""), {"two words", "$(id)", "'", "\xff", ""});
    wanted.standardOutput = folder.path() / "it's here";
    EXPECT_EQ(runScript(wanted), std::nullopt);
    EXPECT_EQ(readFile(wanted.standardOutput), "<two words><$(id)><'><\xff><>");
}

TEST_F(ScriptRunnerTest, TellsTheStatusAndTheFirstLinesOfTheErrors) {
    EXPECT_EQ(
        runScript(script(makeCommand("printf '\\n  what is wrong \\n\\ttwo\\nthree\\nfour\\n' >&2; exit 3"))),
        (ScriptError{3, QStringLiteral("what is wrong\ntwo\nthree")}));
    EXPECT_EQ(runScript(script(makeCommand("exit 4"))),
              (ScriptError{4, QStringLiteral("The command exited with a non-zero status.")}));
    // By itself a command may end with any status and text.
    EXPECT_EQ(runScript(script(makeCommand("echo Request dismissed >&2; exit 126"))),
              (ScriptError{126, QStringLiteral("Request dismissed")}));
}

TEST_F(ScriptRunnerTest, BoundsWhatItTells) {
    const auto error = runScript(script(makeCommand("head -c 100000 /dev/zero | tr '\\0' x >&2; exit 1")));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message, QString(400, u'x'));
}

TEST_F(ScriptRunnerTest, TellsOfACommandThatWasKilled) {
    EXPECT_EQ(runScript(script(makeCommand("echo last words >&2; kill -KILL $$"))),
              (ScriptError{137, QStringLiteral("The command was killed by signal 9.")}));
}

TEST_F(ScriptRunnerTest, TellsOfACommandThatIsMissingOrCannotBeRun) {
    const fs::path path = folder.path() / "tool";
    const QString name = QString::fromStdString(path.native());
    EXPECT_EQ(runScript(script(path)), (ScriptError{127, name + QStringLiteral(": command not found")}));
    writeFile(path, "text");
    EXPECT_EQ(runScript(script(path)), (ScriptError{126, name + QStringLiteral(": Permission denied")}));
}

TEST_F(ScriptRunnerTest, TellsWhenTheOutputCannotBeWritten) {
    Script wanted = script(makeCommand("exit 0"));
    wanted.standardOutput = folder.path() / "none/out";
    EXPECT_EQ(runScript(wanted), (ScriptError{1, QString::fromStdString(wanted.standardOutput.native()) +
                                                     QStringLiteral(": No such file or directory")}));
}

TEST_F(ScriptRunnerTest, TellsThatTheProgramIsEnding) {
    platform::stopPrograms();
    EXPECT_EQ(runScript(script(makeCommand("exit 0"))),
              (ScriptError{-128, QStringLiteral("The command was stopped because the program is ending.")}));
}

TEST_F(ScriptRunnerTest, AsksForNoRightsThatTheProcessHas) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "this process is not root";
    Script wanted = script(makeCommand("tr '\\0' ' ' < /proc/$PPID/comm; id -u"));
    wanted.rights = Script::Rights::administrator;
    wanted.standardOutput = folder.path() / "out";
    EXPECT_EQ(runScript(wanted), std::nullopt);
    EXPECT_EQ(readFile(wanted.standardOutput), "platform_test\n0\n");
}

TEST(ScriptErrorTest, IsPrintedOnOneLine) {
    EXPECT_EQ((ScriptError{-128, QStringLiteral("User canceled.")}.printedDescription()),
              QStringLiteral("[\"NSAppleScriptErrorMessage\": \"User canceled.\", "
                             "\"NSAppleScriptErrorNumber\": -128]"));
    EXPECT_EQ(
        (ScriptError{1, QStringLiteral("a\"b\\c\nd\re\tf\x1b[0m\x7f\u0085\u2028é")}.printedDescription()),
        QStringLiteral("[\"NSAppleScriptErrorMessage\": "
                       "\"a\\\"b\\\\c\\nd\\re\\tf\\u{1B}[0m\\u{7F}\\u{85}\\u{2028}é\", "
                       "\"NSAppleScriptErrorNumber\": 1]"));
}

// The request for an administrator's rights, with a stand-in for the system's program: what it says and how
// it ends is what that program does.
class Elevation : public ScriptRunnerTest {
protected:
    void SetUp() override {
        if (!test_support::hasOwnNamespaces() || ::geteuid() != 0 || !test_support::canRunAs(65534))
            GTEST_SKIP() << "this machine gives a test no namespaces or no other user";
    }

    // Runs the script as an ordinary user. What that came to, printed.
    QString runElevated(const QByteArray &standIn, Script wanted) {
        const auto elevator = makeCommand(standIn, "elevator");
        const auto mount = test_support::Mount::over(elevator, "/usr/bin/pkexec");
        return runAsUser(wanted);
    }
    QString runAsUser(Script wanted) {
        wanted.rights = Script::Rights::administrator;
        const auto result = folder.path() / "result";
        EXPECT_EQ(test_support::statusInChild([&] {
                      if (::setresgid(65534, 65534, 65534) != 0 || ::setresuid(65534, 65534, 65534) != 0)
                          return 1;
                      std::thread other(meanwhile);
                      const auto error = runScript(wanted);
                      other.join();
                      writeFile(result, error ? error->printedDescription().toUtf8() : "none");
                      return 0;
                  }),
                  0);
        return QString::fromUtf8(readFile(result));
    }
    // Done in the user's process while the script runs.
    std::function<void()> meanwhile = [] {};

    static QString printed(int number, const QString &message) {
        return ScriptError{number, message}.printedDescription();
    }
};

TEST_F(Elevation, RunsTheCommandWithItsArgumentsThroughTheElevator) {
    Script wanted = script(makeCommand("printf '<%s>' \"$@\"; echo error >&2; exit $2"), {"two words", "0"});
    wanted.standardOutput = folder.path() / "out";
    const QByteArray runs =
        "echo \"$#:$1\" > " + QByteArray::fromStdString(folder.path() / "asked") + "; exec \"$@\"";
    EXPECT_EQ(runElevated(runs, wanted), QStringLiteral("none"));
    EXPECT_EQ(readFile(wanted.standardOutput), "<two words><0>");
    EXPECT_EQ(readFile(folder.path() / "asked"), "3:" + QByteArray::fromStdString(wanted.command) + "\n");
    wanted.arguments = {"a", "126"};
    fs::remove(wanted.standardOutput);
    EXPECT_EQ(runElevated("exec \"$@\"", wanted), printed(126, QStringLiteral("error")));
    wanted.arguments = {"a", "127"};
    fs::remove(wanted.standardOutput);
    EXPECT_EQ(runElevated("exec \"$@\"", wanted), printed(127, QStringLiteral("error")));
}

TEST_F(Elevation, TellsHowTheRequestEnded) {
    const QByteArray prefix = "Error executing command as another user: ";
    const QByteArray reported = "\\n\\nThis incident has been reported.\\n' >&2; exit ";
    const Script wanted = script(makeCommand("exit 9"));
    EXPECT_EQ(runElevated("printf '" + prefix + "Request dismissed" + reported + "126", wanted),
              printed(-128, QStringLiteral("User canceled.")));
    EXPECT_EQ(runElevated("printf '" + prefix + "Not authorized" + reported + "127", wanted),
              printed(127, QStringLiteral("The administrator's rights were refused.")));
    const QString nobody =
        QStringLiteral("There is no authentication agent to ask for an administrator's rights.");
    EXPECT_EQ(runElevated("echo '" + prefix + "No authentication agent found.' >&2; exit 127", wanted),
              printed(127, nobody));
    EXPECT_EQ(
        runElevated("echo 'Error creating textual authentication agent: Error opening current controlling "
                    "terminal for the process (`/dev/tty'\\''): No such device or address' >&2; exit 127",
                    wanted),
        printed(127, nobody));
    EXPECT_EQ(runElevated("echo 'pkexec must be setuid root' >&2; exit 127", wanted),
              printed(127, QStringLiteral("pkexec must be setuid root")));
    EXPECT_EQ(runElevated("kill -TERM $$", wanted),
              printed(143, QStringLiteral("The command was killed by signal 15.")));
}

TEST_F(Elevation, AsksForNothingWhenTheCommandIsMissing) {
    const fs::path missing = folder.path() / "missing";
    EXPECT_EQ(runElevated("touch " + QByteArray::fromStdString(folder.path() / "asked"), script(missing)),
              printed(127, QString::fromStdString(missing.native()) + QStringLiteral(": command not found")));
    EXPECT_FALSE(fs::exists(folder.path() / "asked"));
}

TEST_F(Elevation, TellsWhenThereIsNoElevator) {
    const auto bin = test_support::Mount::memory("/usr/bin", 1 << 20);
    fs::permissions("/usr/bin", fs::perms(0755));
    const fs::path command = folder.path() / "command";
    writeFile(command, "");
    EXPECT_EQ(runAsUser(script(command)), printed(127, QStringLiteral("/usr/bin/pkexec: command not found")));
}

TEST_F(Elevation, OutlastsNoEndOfTheProgram) {
    const auto elevator = makeCommand(
        "touch " + QByteArray::fromStdString(folder.path() / "asked") + "; exec sleep 100", "elevator");
    const auto mount = test_support::Mount::over(elevator, "/usr/bin/pkexec");
    Script wanted = script(makeCommand("exit 0"));
    const auto before = std::chrono::steady_clock::now();
    meanwhile = [this] {
        test_support::waitUntil([this] { return fs::exists(folder.path() / "asked"); });
        platform::stopPrograms();
    };
    EXPECT_EQ(runAsUser(wanted),
              printed(-128, QStringLiteral("The command was stopped because the program is ending.")));
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
}

} // namespace
