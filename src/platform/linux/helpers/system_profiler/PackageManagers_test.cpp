#include "platform/linux/helpers/system_profiler/PackageManagers.h"

#include "test_support/StandInProgram.h"
#include "test_support/TestMachine.h"

#include <gtest/gtest.h>

namespace system_profiler {

namespace {

using namespace test_support;
using Packages = std::map<std::string, Package>;

// "name version (maintainer)" of each package, by what it was asked for.
std::map<std::string, std::string> texts(const Packages &packages) {
    std::map<std::string, std::string> result;
    for (const auto &[key, package] : packages) {
        if (!key.empty())
            result[key] = QStringLiteral("%1 %2 (%3)")
                              .arg(package.name, package.version, package.maintainer)
                              .toStdString();
    }
    return result;
}

using Texts = std::map<std::string, std::string>;

class PackageManagers : public testing::Test {
protected:
    std::string reason(const std::string &program) {
        const auto found = m_reader.notRead().find(program);
        return found == m_reader.notRead().end() ? "" : found->second.toStdString();
    }

    ScratchFolder m_folder;
    PackageDatabase m_database{m_folder.path()};
    Reader m_reader;
};

TEST_F(PackageManagers, TellThePackagesOfFiles) {
    m_database.add("viewer", "2:1.0-3", "V <v@x.example>", "/usr/bin/viewer\n/usr/bin/viewer: 2");
    m_database.add("lib", "1", "L", "/usr/bin/lib\n/bin/diverted", "i386");
    m_database.add("lib", "2", "L", "/usr/bin/lib", "amd64");
    writeFile(m_folder.path() / "diversions", "/bin/diverted\n/bin/diverted.distrib\nviewer\n");
    EXPECT_EQ(texts(packagesOf({"/usr/bin/viewer", "/usr/bin/viewer: 2", "/usr/bin/view", "/usr/bin/lib",
                                "/bin/diverted", "/usr/bin/*", "/usr/bin/v[i]ewer", "/usr/bin/a\nviewer"},
                               m_reader)),
              (Texts{{"/usr/bin/viewer", "viewer 2:1.0-3 (V <v@x.example>)"},
                     {"/usr/bin/viewer: 2", "viewer 2:1.0-3 (V <v@x.example>)"},
                     {"/usr/bin/lib", "lib 2 (L)"},
                     {"/bin/diverted", "lib 1 (L)"}}));
    EXPECT_TRUE(m_reader.notRead().empty());
}

TEST_F(PackageManagers, KnowNothingWithoutADatabase) {
    EXPECT_TRUE(packagesOf({"/bin/sh"}, m_reader).empty());
    EXPECT_EQ(reason("/usr/bin/dpkg-query"), "");
}

TEST_F(PackageManagers, WithABrokenDatabaseAreNoted) {
    writeFile(m_folder.path() / "status", "rubbish");
    writeFile(m_folder.path() / "info/viewer.list", "/bin/x\n");
    EXPECT_TRUE(packagesOf({"/bin/x"}, m_reader).empty());
    EXPECT_TRUE(reason("/usr/bin/dpkg-query").starts_with("failed: dpkg-query: error: parsing file"))
        << reason("/usr/bin/dpkg-query");
}

TEST_F(PackageManagers, AreNotAskedForMoreThanACallTakes) {
    m_database.add("viewer", "1", "V", "/a");
    std::set<std::string> files = {"/a"};
    for (int i = 0; i < 3'000; ++i)
        files.insert("/b/" + std::string(1'000, 'x') + std::to_string(i));
    EXPECT_EQ(texts(packagesOf(files, m_reader)), (Texts{{"/a", "viewer 1 (V)"}}));
    EXPECT_EQ(reason("/usr/bin/dpkg-query"), "not asked for all files");
}

TEST_F(PackageManagers, ThatAreNotThereAreNoFault) {
    const Mount empty = Mount::memory("/usr/bin", 1 << 20);
    EXPECT_TRUE(packagesOf({"/bin/sh"}, m_reader).empty());
    EXPECT_TRUE(flatpaks(m_reader).empty());
    EXPECT_TRUE(snaps(m_reader).empty());
    EXPECT_TRUE(m_reader.notRead().empty());
}

TEST_F(PackageManagers, ThatDoNotAnswerInTimeAreNoted) {
    const StandInProgram query("dpkg-query", "exec sleep 100");
    EXPECT_TRUE(packagesOf({"/bin/sh"}, m_reader, std::chrono::milliseconds(200)).empty());
    EXPECT_EQ(reason("/usr/bin/dpkg-query"), "gave no answer in time");
}

TEST_F(PackageManagers, ThatAnswerForEverOrFailAreNoted) {
    const StandInProgram endless("flatpak", "head -c 40000000 /dev/zero");
    const StandInProgram failing("snap", "echo 'error: no snapd' >&2; exit 1");
    const StandInProgram killed("dpkg-query", "kill -KILL $$");
    EXPECT_TRUE(flatpaks(m_reader).empty());
    EXPECT_TRUE(snaps(m_reader).empty());
    EXPECT_TRUE(packagesOf({"/bin/sh"}, m_reader).empty());
    EXPECT_EQ(reason("/usr/bin/flatpak"), "gave too long an answer");
    EXPECT_EQ(reason("/usr/bin/snap"), "failed: error: no snapd\n");
    EXPECT_EQ(reason("/usr/bin/dpkg-query"), "failed: ");
}

TEST_F(PackageManagers, TellTheFlatpaks) {
    const StandInProgram flatpak(
        "flatpak", "printf 'org.x.A\\t1.0\\tsystem\\norg.x.B\\t2\\tuser\\norg.x.B\\t1\\tsystem\\n"
                   "org.x.A\\t2.0\\tuser\\norg.x.C\\t\\tsystem\\n'");
    EXPECT_EQ(texts(flatpaks(m_reader)),
              (Texts{{"org.x.A", " 2.0 ()"}, {"org.x.B", " 2 ()"}, {"org.x.C", "  ()"}}));
    EXPECT_EQ(flatpak.calls(),
              (std::vector<std::vector<std::string>>{
                  {"/usr/bin/flatpak", "list", "--app", "--columns=application,version,installation"}}));
}

TEST_F(PackageManagers, TellTheSnaps) {
    const StandInProgram snap("snap", "cat <<'E'\nName    Version   Rev   Tracking       Publisher   Notes\n"
                                      "core22  20260101  1122  latest/stable  canonical** base\n"
                                      "paint   4.0       x1    -              -           -\nE\n");
    EXPECT_EQ(texts(snaps(m_reader)), (Texts{{"core22", " 20260101 (canonical)"}, {"paint", " 4.0 ()"}}));
    EXPECT_EQ(snap.calls().at(0),
              (std::vector<std::string>{"/usr/bin/snap", "list", "--color=never", "--unicode=never"}));
}

} // namespace

} // namespace system_profiler
