#include "discovery/RunState.h"
#include "test_support/Isolation.h"
#include "test_support/WindowFixture.h"

#include <QUrl>
#include <functional>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace UtilityFunctions;
using test_support::readFile;
using test_support::runMainQueueFor;
using test_support::runMainQueueUntil;
using test_support::writeFile;
using testing::ElementsAre;
using ActiveAlert = ContentView::ActiveAlert;

constexpr qint64 limitBytes = 10'485'760;

// A test's way through an attachment: `make` files, `attach` them, and answer the alert that asks.
class AttachmentsTest : public WindowTest {
protected:
    AttachmentsTest() { userFilesURL = home.path() / "out/UserFiles"; }

    fs::path make(const std::string &name, const QByteArray &content = "content") {
        fs::path file = home.path() / "picked" / name;
        writeFile(file, content);
        return file;
    }
    // A file of that size that takes no room on the disk.
    fs::path makeLarge(const std::string &name, std::uintmax_t bytes) {
        fs::path file = make(name, {});
        fs::resize_file(file, bytes);
        return file;
    }
    static fs::path attached(const std::string &name) { return *userFilesURL / name; }
    static QByteArray contentOf(const std::string &name) { return readFile(attached(name)); }
    void attach(const std::vector<fs::path> &files) {
        view.attach(files);
        runMainQueueUntil([&] { return view.showAlert || view.fileProcessingQueue.value().empty(); });
        settle();
    }
    // Until nothing is left to do without the user.
    void settle() { runMainQueueFor(30ms); }
    void cancel() { view.answerAlert(false); }
    // Replaces, and waits until that is done and counted.
    void replaceAndWait(qint64 count) {
        view.filesCountInDestination = -1;
        ASSERT_TRUE(view.showAlert);
        view.answerAlert(true);
        ASSERT_TRUE(runMainQueueUntil([&] { return view.filesCountInDestination.value() == count; }, 2s));
    }
    // A replacement that fails does not lose what is attached under its name.
    void expectKept(const fs::path &bad, const QByteArray &content) {
        attach({bad});
        replaceAndWait(1);
        EXPECT_EQ(contentOf(bad.filename()), content);
    }
    template <typename... Entries>
    void expect(const Entries &...entries) {
        EXPECT_THAT(record.take(), ElementsAre(entries...));
    }
    static std::string measured(qint64 selected, qint64 existing) {
        return "INFO: Currently user selected files size: " + std::to_string(selected) +
               ", existing user files size: " + std::to_string(existing) + ", limit in bytes: 10485760";
    }
    static std::string counted(int files) {
        return "INFO: Total user files attached: " + std::to_string(files);
    }

    ContentView view;
    Recorder record{view, home.path()};
};

const std::string copied = "INFO: File copied successfully.";

const std::string noLocation = "ERROR: userFilesURL is nil";

// --- Attaching ---

TEST_F(AttachmentsTest, FilesAreCopiedOneInEachTurnAndThenCounted) {
    const auto one = make("one.png", "1");
    const auto two = make("two.pdf", "22");
    view.attach({one, two});
    // The first is copied at once, the second in a later turn.
    expect(measured(3, 0), "fileProcessingQueue = [one.png, two.pdf]", copied,
           "fileProcessingQueue = [two.pdf]");
    // A second pick meanwhile comes after the first.
    view.attach({make("caf\xe9.png", "x"), make("four")});
    settle();
    EXPECT_TRUE(view.fileProcessingQueue.value().empty());
    EXPECT_EQ(record.take().back(), counted(4));
    EXPECT_EQ(view.filesCountInDestination, 4);
    EXPECT_EQ(contentOf("one.png") + contentOf("two.pdf") + contentOf("caf\xe9.png"), "122x");
}

TEST_F(AttachmentsTest, AttachedAndPickedFilesTogetherMayHaveTheLimitAndNotOneByteMore) {
    attach({make("small.png", "1"), makeLarge("large.pdf", limitBytes)});
    expect(measured(limitBytes + 1, 0), "activeAlert = fileSize", "showAlert = true");
    EXPECT_FALSE(fs::exists(*userFilesURL));
    cancel();
    attach({makeLarge("a.pdf", 10'000'000)});
    record.take();
    attach({makeLarge("b.pdf", limitBytes - 10'000'000 + 1)});
    expect(measured(limitBytes - 10'000'000 + 1, 10'000'000), "showAlert = true");
    cancel();
    attach({makeLarge("c.pdf", limitBytes - 10'000'005), makeLarge("d.pdf", 5)});
    EXPECT_FALSE(view.showAlert);
    EXPECT_EQ(view.filesCountInDestination, 3);
    // A file without a size counts nothing, and terabytes do not overflow the sum.
    const auto huge = makeLarge("huge.pdf", std::uintmax_t{5} << 40);
    EXPECT_TRUE(view.areFilesWithinSizeLimit({home.path() / "missing"}, home.path() / "nowhere", 0));
    EXPECT_FALSE(view.areFilesWithinSizeLimit({huge, huge, huge}, home.path() / "nowhere", limitBytes));
}

// --- A name that is attached already ---

TEST_F(AttachmentsTest, AClashStopsTheCopyingUntilTheUserReplacesTheFile) {
    const auto again = make("a.png", "new");
    attach({make("x/a.png", "old"), again, make("b.png")});
    expect(measured(13, 0), "fileProcessingQueue = [a.png, a.png, b.png]", copied,
           "fileProcessingQueue = [a.png, b.png]", "currentFileToProcess = ~/picked/a.png",
           "fileExistsAlertMessage = File a.png already exists. Do you want to replace it?",
           "activeAlert = replaceFile", "showAlert = true");
    cancel();
    // A pick that is refused does not meet the clash; the next one does.
    attach({makeLarge("large.pdf", limitBytes + 1)});
    EXPECT_EQ(view.activeAlert, ActiveAlert::fileSize);
    cancel();
    record.take();
    attach({make("c.png")});
    EXPECT_THAT(record.takeFields(), ElementsAre("fileProcessingQueue = [a.png, b.png, c.png]",
                                                 "activeAlert = replaceFile", "showAlert = true"));
    EXPECT_EQ(contentOf("a.png"), "old");
    EXPECT_FALSE(fs::exists(attached("b.png")));
    EXPECT_EQ(view.currentFileToProcess.value(), again);

    const auto start = std::chrono::steady_clock::now();
    view.answerAlert(true);
    expect("showAlert = false", copied, "fileProcessingQueue = [b.png, c.png]",
           "currentFileToProcess = none");
    EXPECT_EQ(contentOf("a.png"), "new");
    // The rest follows half a second after the replacement.
    ASSERT_TRUE(runMainQueueUntil([&] { return fs::exists(attached("b.png")); }, 2s));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 495ms);
    settle();
    EXPECT_EQ(record.take().back(), counted(3));
}

TEST_F(AttachmentsTest, ALinkUnderAnAttachedNameClashesAndIsNotWrittenThrough) {
    writeFile(home.path() / "target", "not to be touched");
    fs::create_directories(*userFilesURL);
    fs::create_symlink(home.path() / "target", attached("a.png"));
    fs::create_symlink(home.path() / "missing", attached("b.png"));
    attach({make("a.png", "new"), make("b.png", "new too")});
    view.answerAlert(true);
    ASSERT_TRUE(runMainQueueUntil([&] { return view.showAlert.value(); }, 2s));
    replaceAndWait(2);
    EXPECT_EQ(contentOf("a.png") + contentOf("b.png"), "newnew too");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(attached("a.png"))));
    EXPECT_EQ(readFile(home.path() / "target"), "not to be touched");
    EXPECT_FALSE(fs::exists(home.path() / "missing"));
}

// --- What cannot be copied ---

// A link under a harmless name may lead anywhere.
TEST_F(AttachmentsTest, WhatIsNoRegularFileIsLeftOutAndReplacesNothing) {
    const fs::path bad = home.path() / "picked/bad.pdf";
    const std::pair<std::function<void()>, std::string> kinds[] = {
        {[&] { fs::create_directories(bad / "inside"); }, "Is a directory"},
        {[&] { EXPECT_EQ(::mkfifo(bad.c_str(), 0600), 0); }, "Invalid argument"},
        {[] {}, "No such file or directory"},
        {[&] { fs::create_symlink("before.png", bad); }, "Too many levels of symbolic links"}};
    for (const auto &[makeBad, reason] : kinds) {
        const auto before = make("before.png");
        makeBad();
        record.take();
        // It leaves one line in the log between two good files.
        attach({before, bad, make("after.png")});
        EXPECT_THAT(record.takeLog(),
                    ElementsAre(testing::_, copied, "ERROR: Error while copying file: " + reason, copied,
                                counted(2)));
        EXPECT_FALSE(fs::exists(fs::symlink_status(attached("bad.pdf"))));
        view.removeAllUserFiles();
        writeFile(attached("bad.pdf"), "attached before");
        expectKept(bad, "attached before");
        view.removeAllUserFiles();
        fs::remove_all(bad);
    }
    // Nor does the attached file replace itself.
    attach({make("a.png", "old")});
    expectKept(attached("a.png"), "old");
}

TEST_F(AttachmentsTest, OnAFullDiskWhatIsAttachedStays) {
    REQUIRE_OWN_NAMESPACES();
    fs::create_directories(userFilesURL->parent_path());
    const auto small = test_support::Mount::memory(userFilesURL->parent_path(), 65536);
    attach({make("b.png", "old")});
    expectKept(make("b.png", QByteArray(1'000'000, 'x')), "old");
    EXPECT_THAT(record.takeLog(),
                testing::Contains("ERROR: Error while copying file: No space left on device").Times(1));
}

// --- Counting and removing ---

TEST_F(AttachmentsTest, EveryEntryCountsAndIsRemoved) {
    view.filesCountInDestination = 5;
    record.take();
    view.updateFileCount();
    // The folder is not there yet.
    expect("filesCountInDestination = 0");
    fs::create_directories(attached("folder") / "inside");
    fs::create_symlink("nowhere", attached("link"));
    view.updateFileCount();
    expect("filesCountInDestination = 2", counted(2));
    view.removeAllUserFiles();
    expect("INFO: UserFiles directory removed with 2 files.", "filesCountInDestination = 0");
    EXPECT_FALSE(fs::exists(*userFilesURL));
    view.removeAllUserFiles();
    expect("ERROR: Error listing files in destination directory: No such file or directory");
    writeFile(*userFilesURL, "a file");
    view.updateFileCount();
    expect("ERROR: Error reading contents of the destination directory: Not a directory");
}

TEST_F(AttachmentsTest, ARemovalThatFailsKeepsTheCount) {
    REQUIRE_OWN_NAMESPACES();
    attach({make("a")});
    record.take();
    const auto readOnly = test_support::Mount::readOnly(*userFilesURL);
    view.removeAllUserFiles();
    expect("ERROR: Error listing files in destination directory: Read-only file system", counted(1));
}

TEST_F(AttachmentsTest, RemovingALinkInTheFoldersPlaceLeavesItsTarget) {
    writeFile(home.path() / "elsewhere/file", "kept");
    fs::create_directories(userFilesURL->parent_path());
    fs::create_directory_symlink(home.path() / "elsewhere", *userFilesURL);
    view.removeAllUserFiles();
    EXPECT_EQ(readFile(home.path() / "elsewhere/file"), "kept");
    EXPECT_FALSE(fs::exists(fs::symlink_status(*userFilesURL)));
}

TEST_F(AttachmentsTest, WithoutALocationNothingIsAttachedCountedOrRemoved) {
    view.replaceFileAndContinue();
    expect(noLocation);
    userFilesURL.reset();
    const auto file = make("a");
    attach({file});
    expect(noLocation, "activeAlert = fileSize", "showAlert = true");
    view.processNextFile();
    view.updateFileCount();
    view.removeAllUserFiles();
    expect(noLocation, noLocation, noLocation);
    view.fileProcessingQueue = std::vector<fs::path>{file};
    view.currentFileToProcess = file;
    record.take();
    view.replaceFileAndContinue();
    expect(noLocation, "fileProcessingQueue = []", "currentFileToProcess = none");
}

// --- The panel ---

// On a desktop without a panel: the window shows its own.
class FilePanelTest : public AttachmentsTest {
protected:
    void open() {
        view.presentFilePicker();
        EXPECT_TRUE(runMainQueueUntil([&] { return view.isFilePanelVisible.value(); }));
    }
    void pick(const std::vector<fs::path> &files) {
        QList<QUrl> urls;
        for (const fs::path &file : files)
            urls.append(QUrl::fromLocalFile(QString::fromStdString(file.native())));
        view.closeFilePanel(urls);
        runMainQueueUntil([&] { return view.fileProcessingQueue.value().empty(); });
        settle();
    }
};

TEST_F(FilePanelTest, ComesUpOnceAndAttachesNothingWhenItIsCancelled) {
    EXPECT_EQ(view.filePanelFolder(), QUrl::fromLocalFile(QString::fromStdString(home.path().native())));
    EXPECT_EQ(view.filePanelFilters().join(u' '),
              QStringLiteral("*.pdf *.jpg *.jpeg *.png *.doc *.docx *.xls *.xlsx *.ppt *.pptx"));
    view.presentFilePicker();
    open();
    expect("isFilePickerPresented = true", "isFilePanelVisible = true");
    pick({});
    expect("isFilePanelVisible = false", "isFilePickerPresented = false");
    view.filesPicked(QStringLiteral("no panel"));
    expect("ERROR: File selection error: no panel");
}

TEST_F(FilePanelTest, AttachesWhatIsPickedButForOtherKindsOfFiles) {
    open();
    record.take();
    pick({make("one %2e#.pdf"), make("two.PNG"), make("three.exe"), make("pdf")});
    expect("isFilePanelVisible = false", "isFilePickerPresented = false", measured(14, 0),
           "fileProcessingQueue = [one %2e#.pdf, two.PNG]", copied, "fileProcessingQueue = [two.PNG]", copied,
           "fileProcessingQueue = []", "filesCountInDestination = 2", counted(2));
    // Once the archive was started, nothing is attached any more.
    UtilityFunctions::ShareButtonPressed = true;
    ContentView frozen;
    frozen.filesPicked(std::vector<fs::path>{make("late.pdf")});
    EXPECT_FALSE(fs::exists(attached("late.pdf")));
}

TEST_F(AttachmentsTest, AWindowThatIsGoneAttachesNothingMore) {
    {
        ContentView gone;
        gone.attach({make("a"), make("b")});
        gone.presentFilePicker();
    }
    settle();
    EXPECT_TRUE(fs::exists(attached("a")));
    EXPECT_FALSE(fs::exists(attached("b")));
}

// A clash among them is for the user to decide first.
TEST_F(AttachmentsTest, AShareFirstCopiesWhatIsQueued) {
    attach({make("a.png", "old")});
    view.changeFeedback(QStringLiteral("It crashed"));
    // An archive that was built and is missing.
    UtilityFunctions::ShareButtonPressed = true;
    compressedLogURL = home.path() / "missing.zip";
    view.attach({make("b.png", "2"), make("a.png", "new"), make("c.png", "3")});
    view.ShareButtonPressed();
    EXPECT_TRUE(view.showAlert);
    EXPECT_FALSE(view.isFeedbackEmailLayoutDisabled || view.primaryButtonDisabled);
    view.answerAlert(true);
    EXPECT_EQ(view.fileProcessingQueue.value().size(), 1U);
    view.ShareButtonPressed();
    EXPECT_TRUE(view.isUploadFailedLayoutVisible);
    EXPECT_EQ(contentOf("a.png") + contentOf("b.png") + contentOf("c.png"), "new23");
}

} // namespace
