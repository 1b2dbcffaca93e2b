#include "platform/linux/helpers/system_profiler/PackageManagers.h"

#include "test_support/StandIns.h"
#include "test_support/TestMachine.h"

#include <gtest/gtest.h>

namespace system_profiler {

namespace {

using namespace test_support;
using Texts = std::map<std::string, std::string>;

constexpr auto query = "/usr/bin/dpkg-query";

// "name version (maintainer)" of each package, by what it was asked for.
Texts told(const std::map<std::string, Package> &packages) {
    Texts result;
    for (const auto &[key, package] : packages)
        result[key] =
            (package.name + u' ' + package.version + u' ' + u'(' + package.maintainer + u')').toStdString();
    result.erase("");
    return result;
}

class PackageManagers : public testing::Test {
protected:
    ScratchFolder m_folder;
    PackageDatabase m_database{m_folder.path()};
    Reader m_reader;
};

TEST_F(PackageManagers, TellThePackagesOfFiles) {
    m_database.add("viewer", "2:1.0-3", "V <v@x.example>", "/bin/viewer\n/bin/viewer: 2");
    m_database.add("lib", "1", "L", "/bin/lib\n/bin/diverted", "i386");
    m_database.add("lib", "2", "L", "/bin/lib", "amd64");
    writeFile(m_folder.path() / "diversions", "/bin/diverted\n/bin/diverted.distrib\nviewer\n");
    EXPECT_EQ(told(packagesOf({"/bin/viewer", "/bin/viewer: 2", "/bin/view", "/bin/lib", "/bin/diverted",
                               "/bin/v[i]ewer", "/bin/a\nviewer"},
                              m_reader, answerLimit)),
              (Texts{{"/bin/viewer", "viewer 2:1.0-3 (V <v@x.example>)"},
                     {"/bin/viewer: 2", "viewer 2:1.0-3 (V <v@x.example>)"},
                     {"/bin/lib", "lib 2 (L)"},
                     {"/bin/diverted", "lib 1 (L)"}}));
    EXPECT_EQ(told(packagesOf({}, m_reader, answerLimit)), Texts());
    EXPECT_EQ(texts(m_reader.notRead()), Texts());
}

TEST_F(PackageManagers, WithABrokenDatabaseAreNoted) {
    EXPECT_EQ(told(packagesOf({"/bin/x"}, m_reader, answerLimit)), Texts());
    EXPECT_EQ(texts(m_reader.notRead()), Texts());
    writeFile(m_folder.path() / "status", "rubbish");
    EXPECT_EQ(told(packagesOf({"/bin/x"}, m_reader, answerLimit)), Texts());
    EXPECT_TRUE(texts(m_reader.notRead())[query].starts_with("failed: dpkg-query: error: parsing file"));
}

TEST_F(PackageManagers, AreNotedWhenACallCannotTakeAllFiles) {
    const std::set<std::string> files = {"/" + std::string(1 << 18, 'x')};
    EXPECT_EQ(told(packagesOf(files, m_reader, answerLimit)), Texts());
    EXPECT_EQ(texts(m_reader.notRead()), (Texts{{query, "Argument list too long"}}));
}

TEST_F(PackageManagers, AreNotedWhenTheyFailOrAnswerTooLateOrForEverButNotWhenThereAreNone) {
    const auto tellNothing = [&](std::chrono::milliseconds limit = answerLimit) {
        return packagesOf({"/bin/sh"}, m_reader, limit).empty() && flatpaks(m_reader).empty() &&
               snaps(m_reader).empty();
    };
    {
        const Mount empty = Mount::memory("/usr/bin", 1 << 20);
        EXPECT_TRUE(tellNothing());
        EXPECT_EQ(texts(m_reader.notRead()), Texts());
    }
    const StandInProgram endless("flatpak", "head -c 40000000 /dev/zero");
    const StandInProgram failing("snap", "echo 'no snapd' >&2; exit 1");
    const StandInProgram silent("dpkg-query", "exec sleep 100");
    EXPECT_TRUE(tellNothing(std::chrono::milliseconds(200)));
    EXPECT_EQ(texts(m_reader.notRead()), (Texts{{query, "gave no answer in time"},
                                                {"/usr/bin/flatpak", "gave too long an answer"},
                                                {"/usr/bin/snap", "failed: no snapd\n"}}));
}

TEST_F(PackageManagers, TellTheFlatpaksAndSnaps) {
    const StandInProgram flatpak(
        "flatpak", "printf '%s\\t%s\\t%s\\n' A 1 system B 2 user B 1 system A 2 user C '' system");
    const StandInProgram snap("snap", "cat <<'E'\nName    Version   Rev   Tracking       Publisher   Notes\n"
                                      "core22  20260101  1122  latest/stable  canonical** base\n"
                                      "paint   4.0       x1    -              -           -\nE\n");
    EXPECT_EQ(told(flatpaks(m_reader)), (Texts{{"A", " 2 ()"}, {"B", " 2 ()"}, {"C", "  ()"}}));
    EXPECT_EQ(told(snaps(m_reader)), (Texts{{"core22", " 20260101 (canonical)"}, {"paint", " 4.0 ()"}}));
    using Call = std::vector<std::string>;
    EXPECT_EQ(flatpak.calls(), (std::vector<Call>{{"/usr/bin/flatpak", "list", "--app",
                                                   "--columns=application,version,installation"}}));
    EXPECT_EQ(snap.calls(),
              (std::vector<Call>{{"/usr/bin/snap", "list", "--color=never", "--unicode=never"}}));
}

} // namespace

} // namespace system_profiler
