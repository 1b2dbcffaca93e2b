#include "platform/Bundle.h"

#include "platform/System.h"
#include "test_support/TestMachine.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

using platform::Bundle;
using test_support::infoPlist;
using test_support::writeFile;

class BundleTest : public testing::Test {
protected:
    void writeInfo(const QByteArray &content) { writeFile(path / "Contents/Info.plist", content); }

    test_support::ScratchFolder folder;
    fs::path path = folder.path() / "X.app";
};

TEST_F(BundleTest, GivesTheValuesOfItsInfoThatHaveTheRightType) {
    writeInfo("<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>a.b</string>"
              "<key>CFBundleShortVersionString</key><string>10.003.20112</string>"
              "<key>CFBundleExecutable</key><string>X</string><key>Flag</key><true/></dict></plist>");
    const auto bundle = Bundle::at(path);
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->path(), path);
    EXPECT_EQ(bundle->identifier(), QStringLiteral("a.b"));
    EXPECT_EQ(bundle->shortVersion(), QStringLiteral("10.003.20112"));
    EXPECT_EQ(bundle->executable(), path / "Contents" / platform::programFolder() / "X");
    EXPECT_EQ(bundle->flag("Flag"), true);

    writeInfo("<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><true/>"
              "<key>Flag</key><string>true</string></dict></plist>");
    const auto other = Bundle::at(path);
    ASSERT_TRUE(other);
    EXPECT_FALSE(other->identifier() || other->shortVersion() || other->executable());
    EXPECT_FALSE(other->flag("Flag") || other->flag("Missing"));
    // Nor is a name an executable that is empty or leads elsewhere.
    for (const char *name : {"", "../../../bin/sh"}) {
        writeInfo(infoPlist("a.b", name));
        EXPECT_EQ(Bundle::at(path)->executable(), std::nullopt) << name;
    }
}

TEST_F(BundleTest, IsNoneWithoutAReadableDictionary) {
    EXPECT_FALSE(Bundle::at(path));
    for (const QByteArray &content : {QByteArray(), QByteArray("<plist><array/></plist>")}) {
        writeInfo(content);
        EXPECT_FALSE(Bundle::at(path)) << content.constData();
    }
}

TEST_F(BundleTest, IsTheNearestOneAroundAPathSuchAsThisPrograms) {
    writeInfo(infoPlist("outer", "X"));
    const auto inner = path / "Contents/Helpers/Y.app";
    writeFile(inner / "Contents/Info.plist", infoPlist("inner", "Y"));
    writeFile(folder.path() / "Z.application/Contents/Info.plist", infoPlist("a.b", "Z"));
    // Only the name of a bundle is not enough, and neither is only its content.
    const std::pair<fs::path, const char *> cases[] = {{path / "Contents/Helpers/deep/er/tool", "outer"},
                                                       {inner / "Contents/Linux/Y", "inner"},
                                                       {path / "Contents/Empty.app/x", "outer"},
                                                       {folder.path() / "Z.application/Contents/Linux/Z", ""},
                                                       {path, ""},
                                                       {"", ""}};
    for (const auto &[place, identifier] : cases) {
        const auto bundle = Bundle::around(place);
        EXPECT_EQ(bundle ? bundle->identifier() : QString(), QString::fromLatin1(identifier)) << place;
    }

    const auto &bundle = Bundle::main();
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->path(), fs::read_symlink("/proc/self/exe").parent_path().parent_path().parent_path());
    EXPECT_EQ(bundle->identifier(), QStringLiteral("com.brennic.LumadocDiagnostics.UnitTests"));
}

} // namespace
