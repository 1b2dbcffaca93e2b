#include "platform/linux/helpers/system_profiler/Bundles.h"

#include "platform/linux/helpers/system_profiler/TestMachine.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

using Reasons = std::map<std::string, std::string>;
using test_support::writeFile;

class InstalledBundles : public testing::Test {
protected:
    void writeInfo(const fs::path &bundle, const QByteArray &info) const {
        writeFile(m_machine.root() / bundle / "Contents/Info.plist", info);
    }
    void writeBundle(const fs::path &bundle) const { writeInfo(bundle, infoText("B", "1.0")); }

    /// The bundles' paths below the machine's root, as they were found.
    std::vector<std::string> paths() const {
        std::vector<std::string> result;
        for (const auto &[key, bundle] : m_bundles.all())
            result.push_back(bundle.path().lexically_relative(m_machine.root()).native());
        return result;
    }

    TestMachine m_machine;
    NotRead m_notRead;
    Bundles m_bundles{m_notRead};
};

TEST_F(InstalledBundles, StandInTheirFoldersAndTheNestedOnes) {
    for (const char *path : {"home/Applications/A.app", "home/Applications/folder/No.app", "opt/B.app",
                             "opt/Brennic/C.app", "opt/Brennic/deep/No.app", "opt/B.app/Inner.app", "opt/no"})
        writeBundle(path);
    m_bundles.addInstalled(m_machine.places);
    EXPECT_EQ(paths(),
              (std::vector<std::string>{"home/Applications/A.app", "opt/B.app", "opt/Brennic/C.app"}));
    EXPECT_EQ(reasonsBelow(m_machine.root(), m_notRead), Reasons());
}

TEST_F(InstalledBundles, CountOnceWhateverLinksLeadToThem) {
    writeBundle("opt/B.app");
    fs::create_directories(m_machine.home() / "Applications");
    fs::create_directory_symlink(m_machine.root() / "opt/B.app", m_machine.home() / "Applications/Link.app");
    m_bundles.addInstalled(m_machine.places);
    EXPECT_EQ(paths(), (std::vector<std::string>{"home/Applications/Link.app"}));
}

TEST_F(InstalledBundles, AreTheNearestAroundAProgram) {
    writeBundle("elsewhere/Outer.app/Contents/Frameworks/Inner.app");
    writeBundle("elsewhere/Outer.app");
    const fs::path outer = m_machine.root() / "elsewhere/Outer.app";
    EXPECT_EQ(m_bundles.addAround(outer / "Contents/Linux/Program"), outer);
    EXPECT_EQ(m_bundles.addAround(outer / "Contents/Frameworks/Inner.app/Contents/Linux/Program"),
              outer / "Contents/Frameworks/Inner.app");
    EXPECT_EQ(m_bundles.addAround("/usr/bin/program"), "");
}

TEST_F(InstalledBundles, AreNotSoughtFarAboveAProgram) {
    writeBundle("A.app");
    const fs::path bundle = m_machine.root() / "A.app";
    EXPECT_EQ(m_bundles.addAround(bundle / "1.app/2.app/3.app/p"), bundle);
    EXPECT_EQ(m_bundles.addAround(bundle / "1.app/2.app/3.app/4.app/p"), "");
}

TEST_F(InstalledBundles, AreFoundBehindALinkToTheirProgram) {
    writeBundle("elsewhere/A.app");
    writeProgram(m_machine.root() / "elsewhere/A.app/Contents/Linux/Program");
    fs::create_symlink("elsewhere/A.app/Contents/Linux/Program", m_machine.root() / "start");
    EXPECT_EQ(m_bundles.addAround(m_machine.root() / "start"), m_machine.root() / "elsewhere/A.app");
}

TEST_F(InstalledBundles, ThatCannotBeReadAreNoted) {
    writeInfo("opt/Rubbish.app", QByteArray("\0\1\2", 3));
    writeInfo("opt/Array.app", "<plist version=\"1.0\"><array/></plist>");
    writeInfo("opt/Truncated.app", infoText("B", "1.0").left(100));
    writeInfo("opt/Large.app", QByteArray((1 << 20) + 1, ' '));
    fs::create_directories(m_machine.root() / "opt/Folder.app/Contents/Info.plist");
    fs::create_directories(m_machine.root() / "opt/Pipe.app/Contents");
    ASSERT_EQ(::mkfifo((m_machine.root() / "opt/Pipe.app/Contents/Info.plist").c_str(), 0600), 0);
    fs::create_symlink("Loop.app", m_machine.root() / "opt/Loop.app");
    fs::create_directories(m_machine.root() / "opt/None.app");
    writeBundle("opt/Good.app");
    m_bundles.addInstalled(m_machine.places);
    EXPECT_EQ(paths(), (std::vector<std::string>{"opt/Good.app"}));
    EXPECT_EQ(reasonsBelow(m_machine.root(), m_notRead),
              (Reasons{{"opt/Array.app/Contents/Info.plist", "no property list with keys"},
                       {"opt/Folder.app/Contents/Info.plist", "Is a directory"},
                       {"opt/Large.app/Contents/Info.plist", "File too large"},
                       {"opt/Loop.app/Contents/Info.plist", "Too many levels of symbolic links"},
                       {"opt/Pipe.app/Contents/Info.plist", "not a regular file"},
                       {"opt/Rubbish.app/Contents/Info.plist", "no property list with keys"},
                       {"opt/Truncated.app/Contents/Info.plist", "no property list with keys"}}));
}

TEST_F(InstalledBundles, BeyondTheirBytesAreNoted) {
    writeBundle("opt/A.app");
    writeBundle("opt/B.app");
    Bundles bundles(m_notRead, static_cast<std::uint64_t>(infoText("B", "1.0").size()));
    bundles.addInstalled(m_machine.places);
    EXPECT_EQ(bundles.all().size(), 1U);
    EXPECT_EQ(reasonsBelow(m_machine.root(), m_notRead),
              (Reasons{{"opt/B.app/Contents/Info.plist", "comes after too many bytes of such files"}}));
}

TEST_F(InstalledBundles, GiveTheirNameAndVersionInOrderOfPreference) {
    const auto bundleWith = [&](const QByteArray &keys) {
        writeInfo("opt/Folder name.app", "<plist version=\"1.0\"><dict>" + keys + "</dict></plist>");
        return *platform::Bundle::at(m_machine.root() / "opt/Folder name.app");
    };
    const QByteArray name = "<key>CFBundleName</key><string>N</string>";
    const QByteArray display = "<key>CFBundleDisplayName</key><string>D</string>";
    const QByteArray version = "<key>CFBundleVersion</key><string>100</string>";
    const QByteArray shortVersion = "<key>CFBundleShortVersionString</key><string>1.0</string>";
    EXPECT_EQ(nameOf(bundleWith(name + display)), QStringLiteral("D"));
    EXPECT_EQ(nameOf(bundleWith(name)), QStringLiteral("N"));
    EXPECT_EQ(nameOf(bundleWith({})), QStringLiteral("Folder name"));
    EXPECT_EQ(versionOf(bundleWith(version + shortVersion)), QStringLiteral("1.0"));
    EXPECT_EQ(versionOf(bundleWith(version)), QStringLiteral("100"));
    EXPECT_EQ(versionOf(bundleWith({})), QString());
}

} // namespace

} // namespace system_profiler
