#include "platform/Bundle.h"

#include "platform/posix/Text.h"
#include "test_support/TestBundle.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

using platform::Bundle;
using test_support::infoPlist;
using test_support::writeFile;

class BundleAt : public testing::Test {
protected:
    void writeInfo(const QByteArray &content) { writeFile(path / "Contents/Info.plist", content); }

    test_support::ScratchFolder folder;
    fs::path path = folder.path() / "X.app";
};

TEST_F(BundleAt, GivesWhatItsInfoSays) {
    writeInfo("<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>a.b</string>"
              "<key>CFBundleShortVersionString</key><string>10.003.20112</string>"
              "<key>CFBundleExecutable</key><string>X</string><key>Flag</key><true/></dict></plist>");
    const auto bundle = Bundle::at(path);
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->path(), path);
    EXPECT_EQ(bundle->identifier(), QStringLiteral("a.b"));
    EXPECT_EQ(bundle->shortVersion(), QStringLiteral("10.003.20112"));
    EXPECT_EQ(bundle->executable(), path / "Contents/Linux/X");
    EXPECT_EQ(bundle->flag("Flag"), true);
}

TEST_F(BundleAt, HasNoValueWhereAnotherTypeStands) {
    writeInfo("<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><true/>"
              "<key>CFBundleShortVersionString</key><integer>3</integer>"
              "<key>Flag</key><string>true</string></dict></plist>");
    const auto bundle = Bundle::at(path);
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->identifier(), std::nullopt);
    EXPECT_EQ(bundle->shortVersion(), std::nullopt);
    EXPECT_EQ(bundle->flag("Flag"), std::nullopt);
    EXPECT_EQ(bundle->executable(), std::nullopt);
}

TEST_F(BundleAt, HasNoExecutableWhenTheNameIsEmptyOrLeadsElsewhere) {
    for (const char *name : {"", "/bin/sh", "../../../bin/sh"}) {
        writeInfo(infoPlist("a.b", name));
        EXPECT_EQ(Bundle::at(path)->executable(), std::nullopt) << name;
    }
}

TEST_F(BundleAt, IsNoneWithoutAReadableDictionary) {
    EXPECT_FALSE(Bundle::at(path));
    for (const QByteArray &content : {QByteArray(), QByteArray("garbage"), QByteArray(4096, '\0'),
                                      QByteArray("<plist><array/></plist>"), infoPlist("a", "b").first(80)}) {
        writeInfo(content);
        EXPECT_FALSE(Bundle::at(path)) << content.constData();
    }
}

TEST_F(BundleAt, IsNoneWhenTheInfoIsLargerThanAnyThatMeansWell) {
    QByteArray content = infoPlist("a.b", "X");
    content.insert(content.indexOf("<dict>"),
                   "<!--" + QByteArray(qsizetype{platform::PropertyList::limitBytes}, 'x') + "-->");
    writeInfo(content);
    EXPECT_FALSE(Bundle::at(path));
}

TEST_F(BundleAt, IsNoneAndDoesNotWaitWhenTheInfoIsAPipe) {
    fs::create_directories(path / "Contents");
    ASSERT_EQ(::mkfifo((path / "Contents/Info.plist").c_str(), 0600), 0);
    EXPECT_FALSE(Bundle::at(path));
}

TEST_F(BundleAt, IsFoundAroundWhatItHolds) {
    writeInfo(infoPlist("a.b", "X"));
    const auto bundle = Bundle::around(path / "Contents/Helpers/deep/er/tool");
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->path(), path);
}

TEST_F(BundleAt, IsTheNearestOneAroundAPath) {
    writeInfo(infoPlist("outer", "X"));
    const auto inner = path / "Contents/Helpers/Y.app";
    writeFile(inner / "Contents/Info.plist", infoPlist("inner", "Y"));
    EXPECT_EQ(Bundle::around(inner / "Contents/Linux/Y")->identifier(), QStringLiteral("inner"));
}

TEST_F(BundleAt, LooksBeyondAFolderThatOnlyHasTheNameOfOne) {
    writeInfo(infoPlist("outer", "X"));
    EXPECT_EQ(Bundle::around(path / "Contents/Empty.app/x")->identifier(), QStringLiteral("outer"));
}

TEST_F(BundleAt, IsNotAroundItselfNorAroundWhatStandsBesideIt) {
    writeInfo(infoPlist("a.b", "X"));
    EXPECT_FALSE(Bundle::around(path));
    EXPECT_FALSE(Bundle::around(folder.path() / "tool"));
    EXPECT_FALSE(Bundle::around("tool"));
    EXPECT_FALSE(Bundle::around(fs::path()));
}

TEST_F(BundleAt, NeedsTheNameOfABundleToBeFoundAroundAPath) {
    const auto other = folder.path() / "X.application";
    writeFile(other / "Contents/Info.plist", infoPlist("a.b", "X"));
    EXPECT_FALSE(Bundle::around(other / "Contents/Linux/X"));
}

TEST(BundleMain, IsTheOneAroundTheRunningProgram) {
    const auto &bundle = Bundle::main();
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->path(), fs::read_symlink("/proc/self/exe").parent_path().parent_path().parent_path());
    EXPECT_EQ(bundle->identifier(), QStringLiteral("com.brennic.LumadocDiagnostics.UnitTests"));
}

} // namespace
