#include "platform/linux/helpers/system_profiler/PackageDatabase.h"

#include "platform/linux/helpers/system_profiler/TestMachine.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

using Reasons = std::map<std::string, std::string>;

class Packages : public testing::Test {
protected:
    void write(const fs::path &name, const QByteArray &content) const {
        test_support::writeFile(root() / name, content);
    }

    /// "name version (maintainer)" of the package that owns the file; empty when none does.
    QString ownerOf(const std::string &file, const PackageLimits &limits = {}) {
        const auto packages = packagesOf({file, "/another"}, root(), m_notRead, limits);
        const auto found = packages.find(file);
        if (found == packages.end())
            return {};
        const Package &package = found->second;
        return package.name + QStringLiteral(" ") + package.version + QStringLiteral(" (") +
               package.maintainer + QStringLiteral(")");
    }

    Reasons reasons() const { return reasonsBelow(root(), m_notRead); }
    const fs::path &root() const { return m_folder.path(); }

private:
    test_support::ScratchFolder m_folder;
    NotRead m_notRead;
};

constexpr auto status = "Package: other\nStatus: install ok installed\nMaintainer: Other\nVersion: 0\n\n"
                        "Package: viewer\nStatus: install ok installed\nMaintainer: V <v@x.example>\n"
                        "Architecture: amd64\nVersion: 2:1.0-3\nDescription: a\n Version: 9\n\n"
                        "Package: last\nArchitecture: all\nVersion: 5\n";

TEST_F(Packages, OwnTheFilesOfTheirLists) {
    write("status", status);
    write("info/viewer.list", "/.\n/usr\n/usr/bin/viewer\n/usr/bin/viewer2");
    write("info/viewer.md5sums", "/usr/bin/nothing\n");
    EXPECT_EQ(ownerOf("/usr/bin/viewer"), QStringLiteral("viewer 2:1.0-3 (V <v@x.example>)"));
    EXPECT_EQ(ownerOf("/usr/bin/viewer2"), QStringLiteral("viewer 2:1.0-3 (V <v@x.example>)"));
    EXPECT_EQ(ownerOf("/usr/bin/view"), QString());
    EXPECT_EQ(ownerOf("/usr/bin/nothing"), QString());
    EXPECT_EQ(reasons(), Reasons());
}

TEST_F(Packages, OfTheLastStanzaHaveAVersionToo) {
    write("status", status);
    write("info/last.list", "/bin/x\n");
    EXPECT_EQ(ownerOf("/bin/x"), QStringLiteral("last 5 ()"));
}

TEST_F(Packages, AreKnownByTheirArchitectureWhereTheListSaysIt) {
    write("status",
          "Package: lib\nArchitecture: i386\nVersion: 1\n\nPackage: lib\nArchitecture: amd64\nVersion: 2\n");
    write("info/lib:amd64.list", "/bin/x\n");
    EXPECT_EQ(ownerOf("/bin/x"), QStringLiteral("lib 2 ()"));
}

TEST_F(Packages, ThatClaimTheSameFileAreTakenByName) {
    write("status", status);
    write("info/viewer.list", "/bin/x\n");
    write("info/other.list", "/bin/x\n");
    EXPECT_EQ(ownerOf("/bin/x"), QStringLiteral("other 0 (Other)"));
}

TEST_F(Packages, AreNamedWithoutAStatus) {
    write("info/viewer.list", "/bin/x\n");
    EXPECT_EQ(ownerOf("/bin/x"), QStringLiteral("viewer  ()"));
    EXPECT_EQ(reasons(), (Reasons{{"status", "No such file or directory"}}));
}

TEST_F(Packages, AreNoneWithoutADatabase) {
    EXPECT_EQ(ownerOf("/bin/x"), QString());
    EXPECT_EQ(reasons(), Reasons());
}

TEST_F(Packages, WithListsThatCannotBeReadAreNoted) {
    write("status", status);
    write("info/large.list", QByteArray(101, 'x'));
    fs::create_directories(root() / "info/folder.list");
    ASSERT_EQ(::mkfifo((root() / "info/pipe.list").c_str(), 0600), 0);
    write("info/viewer.list", "/bin/x\n");
    EXPECT_EQ(ownerOf("/bin/x", {.listBytes = 100}), QStringLiteral("viewer 2:1.0-3 (V <v@x.example>)"));
    EXPECT_EQ(reasons(), (Reasons{{"info/folder.list", "Is a directory"},
                                  {"info/large.list", "File too large"},
                                  {"info/pipe.list", "not a regular file"}}));
}

TEST_F(Packages, AreReadWithinTheirLimits) {
    write("status", status);
    write("info/a.list", "/bin/a\n");
    write("info/b.list", "/bin/b\n");
    EXPECT_EQ(ownerOf("/bin/b", {.statusBytes = 10, .totalListBytes = 10}), QString());
    EXPECT_EQ(ownerOf("/bin/a", {.statusBytes = 10, .totalListBytes = 10}), QStringLiteral("a  ()"));
    EXPECT_EQ(reasons(),
              (Reasons{{"info/b.list", "comes after 10 bytes of lists"}, {"status", "File too large"}}));
}

} // namespace

} // namespace system_profiler
