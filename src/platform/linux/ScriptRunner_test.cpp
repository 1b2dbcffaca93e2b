#include "platform/ScriptRunner.h"

#include "test_support/Isolation.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <QMap>
#include <QXmlStreamReader>
#include <gtest/gtest.h>
#include <memory>
#include <tuple>
#include <unistd.h>

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

TEST_F(ScriptRunnerTest, AsksForNoRightsThatTheProcessHas) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "this process is not root";
    Script wanted = script(makeCommand("tr '\\0' ' ' < /proc/$PPID/comm; id -u"), {}, out);
    wanted.rights = Script::Rights::administrator;
    EXPECT_EQ(runScript(wanted), std::nullopt);
    EXPECT_EQ(readFile(out), "platform_test\n0\n");
}

// The request for an administrator's rights, with a stand-in for the system's program: it says and returns
// what that program does.
class Elevation : public ScriptRunnerTest {
protected:
    void SetUp() override {
        if (!test_support::hasOwnNamespaces() || ::geteuid() != 0 || !test_support::canRunAs(65534))
            GTEST_SKIP() << "this machine gives a test no namespaces or no other user";
        const fs::path changes = folder.path() / "changes";
        fs::create_directory(changes);
        m_memory.reset(new test_support::Mount(test_support::Mount::memory(changes, 1 << 20)));
        m_installed.reset(new test_support::Mount(test_support::Mount::changeable(top, changes)));
        fs::create_directories(helpers);
        for (fs::path place = helpers; place != top.parent_path(); place = place.parent_path())
            fs::permissions(place, fs::perms(0755));
    }

    // A helper of the installed program, which needs rights.
    fs::path installHelper(const QByteArray &script, const char *name = "helper") const {
        fs::path path = helpers / name;
        writeFile(path, "#!/bin/sh\n[ -n \"$ELEVATED\" ] || { echo rights >&2; exit 77; }\n" + script);
        fs::permissions(path, fs::perms(0755));
        return path;
    }

    // Runs the script as an ordinary user, and gives the printed result.
    QString runElevated(const QByteArray &standIn, const Script &wanted) {
        const auto mount =
            test_support::Mount::over(makeCommand(noteAsked + standIn, "elevator"), "/usr/bin/pkexec");
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

    const fs::path helpers = LUMAMON_INSTALLED_HELPERS;
    // The system's folder that they are in.
    const fs::path top = "/usr/lib";
    const fs::path asked = folder.path() / "asked";
    const QByteArray noteAsked = "echo \"$#:$1\" > " + QByteArray::fromStdString(asked) + "; ";
    const QByteArray elevate = "ELEVATED=1 exec \"$@\"";

private:
    std::unique_ptr<test_support::Mount> m_memory;
    std::unique_ptr<test_support::Mount> m_installed;
};

TEST_F(Elevation, RunsTheInstalledHelperThroughTheElevatorWhenItSaysThatItLacksRights) {
    const fs::path command = installHelper("printf '<%s>' \"$@\"; echo error >&2; exit $2");
    EXPECT_EQ(runElevated(elevate, script(command, {"two words", "0"}, out)), QStringLiteral("none"));
    EXPECT_EQ(readFile(out), "<two words><0>");
    EXPECT_EQ(readFile(asked), "3:" + QByteArray::fromStdString(command) + "\n");
    for (const int status : {126, 127, 77})
        EXPECT_EQ(runElevated(elevate, script(command, {"a", std::to_string(status)})),
                  printed(status, QStringLiteral("error")));
}

TEST_F(Elevation, AsksForNothingThatTheHelperDoesNotNeedOrThatIsMissing) {
    const std::pair<fs::path, QString> cases[] = {
        {makeCommand("exit 0"), QStringLiteral("none")},
        {makeCommand("echo no >&2; exit 1", "failing"), printed(1, QStringLiteral("no"))},
        {missing, printed(127, notFound)}};
    for (const auto &[command, result] : cases) {
        const fs::path installed = helpers / command.filename();
        if (fs::exists(command))
            fs::copy_file(command, installed);
        EXPECT_EQ(runElevated(elevate, script(command)), result);
        if (fs::exists(command)) {
            EXPECT_EQ(runElevated(elevate, script(installed)), result);
        }
        EXPECT_FALSE(fs::exists(asked)) << command;
    }
}

// In the home folder, or where the installed program is not root's alone, anybody could be in its place.
TEST_F(Elevation, RunsWithoutRightsWhatSomebodyElseCanReplace) {
    const QString refused =
        printed(77, QStringLiteral("rights\nOnly the installed program asks for an administrator's rights."));
    const fs::path helper = installHelper("exit 0");
    const fs::path bundle = helpers.parent_path().parent_path();
    const fs::path own = folder.path() / bundle.filename();
    fs::copy(bundle, own, fs::copy_options::recursive);
    const auto expectRefused = [&](const fs::path &command) {
        EXPECT_EQ(runElevated(elevate, script(command)), refused) << command;
        EXPECT_FALSE(fs::exists(asked)) << command;
    };
    for (const auto &entry : fs::recursive_directory_iterator(own))
        fs::permissions(entry, fs::perms::all);
    fs::permissions(own, fs::perms::all);
    expectRefused(own / "Contents/Helpers/helper");
    expectRefused(helpers / "../Helpers/helper");
    for (fs::path place = helper; place != top.parent_path(); place = place.parent_path()) {
        SCOPED_TRACE(place);
        for (const auto write : {fs::perms::group_write, fs::perms::others_write}) {
            fs::permissions(place, write, fs::perm_options::add);
            expectRefused(helper);
            fs::permissions(place, write, fs::perm_options::remove);
        }
        ASSERT_EQ(::chown(place.c_str(), 65534, 0), 0);
        expectRefused(helper);
        ASSERT_EQ(::chown(place.c_str(), 0, 0), 0);
    }
    EXPECT_EQ(runElevated(elevate, script(helper)), QStringLiteral("none"));
    fs::remove(asked);
    fs::rename(helpers, bundle / "elsewhere");
    fs::create_directory_symlink(bundle / "elsewhere", helpers);
    expectRefused(helper);
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
    const Script wanted = script(installHelper("exit 9"));
    for (const auto &[standIn, number, message] : cases)
        EXPECT_EQ(runElevated(standIn, wanted), printed(number, message)) << standIn.constData();
}

TEST_F(Elevation, SaysWhenThereIsNoElevator) {
    // What a script needs is missing then as well.
    const fs::path shell = helpers / "shell";
    fs::copy_file("/bin/sh", shell);
    const auto bin = test_support::Mount::memory("/usr/bin", 1 << 20);
    fs::permissions("/usr/bin", fs::perms(0755));
    EXPECT_EQ(runAsUser(script(shell, {"-c", "exit 77"})),
              printed(127, QStringLiteral("/usr/bin/pkexec: command not found")));
}

// Whoever is not at this machine is not asked, and the question names the program and the process.
TEST(Policy, AsksForTheInstalledSamplerAtTheMachineAlone) {
    QXmlStreamReader policy(readFile(LUMAMON_POLICY));
    QMap<QString, QString> texts;
    while (!policy.atEnd()) {
        if (policy.readNext() != QXmlStreamReader::StartElement || policy.name() == u"policyconfig" ||
            policy.name() == u"action" || policy.name() == u"defaults")
            continue;
        const QString key =
            policy.name().toString() + policy.attributes().value(QStringLiteral("key")).toString();
        texts[key] = policy.readElementText();
    }
    EXPECT_FALSE(policy.hasError());
    EXPECT_EQ(texts[QStringLiteral("allow_any")], QStringLiteral("no"));
    EXPECT_EQ(texts[QStringLiteral("allow_inactive")], QStringLiteral("no"));
    EXPECT_EQ(texts[QStringLiteral("allow_active")], QStringLiteral("auth_admin"));
    EXPECT_EQ(texts[QStringLiteral("annotateorg.freedesktop.policykit.exec.path")],
              QStringLiteral(LUMAMON_INSTALLED_HELPERS "/spindump"));
    EXPECT_TRUE(texts[QStringLiteral("message")].startsWith(u"Capturing Lumadoc data dump."));
    EXPECT_TRUE(texts[QStringLiteral("message")].endsWith(u"$(command_line)"));
}

} // namespace
