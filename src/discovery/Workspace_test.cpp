#include "discovery/Workspace.h"

#include "discovery/DetailedInfo.h"
#include "discovery/RunState.h"
#include "test_support/LoggedTest.h"

namespace {

namespace fs = std::filesystem;
using test_support::readFile;
using test_support::writeFile;
using testing::ElementsAre;

class WorkspaceFolder : public test_support::LoggedTest {
protected:
    void SetUp() override {
        writeFile(outside / "precious", "precious");
        fs::create_directories(root.parent_path());
        fs::create_directory(home.path() / "disk");
        fs::create_symlink(home.path() / "disk", root);
        UtilityFunctions::tempDirURL = root;
    }
    void expectOutsideUntouched() const {
        EXPECT_EQ(readFile(outside / "precious"), "precious");
        EXPECT_EQ(std::distance(fs::directory_iterator(outside), {}), 1);
    }

    std::error_code error;
    fs::path root = home.library() / "LumadocDiagnostics";
    fs::path outside = home.path() / "outside";
};

TEST_F(WorkspaceFolder, MayBeALinkItselfButIsNotLeftThroughOne) {
    fs::create_symlink(outside, root / "link");
    EXPECT_FALSE(Workspace::open(root / "link", error));
    EXPECT_FALSE(Workspace::open(root / "link/below", error));
    EXPECT_FALSE(Workspace::remove(root / "link/precious", error));
    EXPECT_TRUE(error);
    writeFile(root / "file", "x");
    EXPECT_FALSE(Workspace::move(root / "link/precious", root / "file", error));
    EXPECT_FALSE(Workspace::holds(root / "link") || Workspace::holds(root / "link/precious"));
    EXPECT_TRUE(Workspace::holds(root) && Workspace::holds(root / "file"));
    EXPECT_EQ(readFile(root / "file"), "x");
    EXPECT_TRUE(Workspace::remove(root / "link", error));
    EXPECT_FALSE(fs::is_symlink(root / "link"));
    EXPECT_TRUE(said().empty());
    expectOutsideUntouched();
}

TEST_F(WorkspaceFolder, IsMadeInThePlaceOfALinkWithOneLine) {
    fs::create_symlink(outside, root / "link");
    EXPECT_TRUE(Workspace::make(root / "link/below/it", error));
    writeFile(root / "file", "x");
    EXPECT_TRUE(Workspace::move(root / "file", root / "link/below/other/file", error));
    EXPECT_EQ(readFile(home.path() / "disk/link/below/other/file"), "x");
    EXPECT_TRUE(fs::is_symlink(root));
    EXPECT_THAT(said(), ElementsAre("WARNING: Replaced a link by a folder: " + (root / "link").native()));
    expectOutsideUntouched();
    writeFile(root / "file", "in the way");
    EXPECT_FALSE(Workspace::make(root / "file/below", error));
    EXPECT_EQ(error, std::errc::not_a_directory);
}

TEST_F(WorkspaceFolder, GetsNoFileThroughALink) {
    fs::create_symlink(outside, root / "link");
    UtilityFunctions::CreateFile(root / "link/precious", QStringLiteral("new"));
    EXPECT_THAT(said(), ElementsAre("ERROR: Failed to create the file."));
    expectOutsideUntouched();
}

TEST_F(WorkspaceFolder, ThatIsMissingHoldsNothingToRemove) {
    EXPECT_FALSE(Workspace::remove(root / "missing", error) || Workspace::remove(root / "no/folder", error));
    EXPECT_FALSE(error);
    EXPECT_FALSE(Workspace::holds(root / "missing") || Workspace::open(root / "missing", error));
}

} // namespace
