#include "discovery/MainQueue.h"
#include "discovery/ProductDiscovery.h"
#include "discovery/RunState.h"
#include "test_support/Isolation.h"
#include "test_support/WindowFixture.h"
#include "ui/FolderList.h"

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
    AttachmentsTest() {
        userFilesURL = home.path() / "out/UserFiles";
        temptempURL = home.path() / "temp";
        alertPresenter = [this](const QString &title, const QString &message, auto...) {
            alerts.push_back((title + u'\n' + message).toStdString());
        };
    }

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
        settle();
    }
    // Until nothing is left to do without the user, who has then been told what there is to tell.
    void settle() {
        ASSERT_TRUE(runMainQueueUntil([&] { return !view.isAttaching; }));
        QCoreApplication::processEvents();
    }
    void cancel() {
        view.answerAlert(false);
        QCoreApplication::processEvents();
    }
    void count() {
        view.updateFileCount();
        settle();
    }
    void removeAll() {
        view.removeAllUserFiles();
        settle();
    }
    // What the user was told since the last call.
    template <typename... Lines>
    void expectLeftOut(const Lines &...lines) {
        std::string message = "Files Not Attached";
        ((message += '\n' + std::string(lines)), ...);
        EXPECT_THAT(std::exchange(alerts, {}), ElementsAre(message));
    }
    void replace() {
        ASSERT_TRUE(view.showAlert);
        view.answerAlert(true);
        settle();
    }
    template <typename... Entries>
    void expect(const Entries &...entries) {
        EXPECT_THAT(record.take(), ElementsAre(entries...));
    }
    static std::string measured(qint64 selected, qint64 existing, qint64 limit = limitBytes) {
        return "INFO: Currently user selected files size: " + std::to_string(selected) +
               ", existing user files size: " + std::to_string(existing) +
               ", limit in bytes: " + std::to_string(limit);
    }
    static std::string counted(int files) {
        return "INFO: Total user files attached: " + std::to_string(files);
    }

    ContentView view;
    std::vector<std::string> alerts;
    Recorder record{view, home.path()};
};

const std::string copied = "INFO: File copied successfully.";

const std::string noLocation = "ERROR: userFilesURL is nil";

// --- Attaching ---

TEST_F(AttachmentsTest, FilesAreCopiedOneAfterTheOtherAndThenCounted) {
    view.attach({make("one.png", "1"), make("two.pdf", "22")});
    // A second pick meanwhile comes after the first, and is measured with what waits by then.
    view.attach({make("caf\xe9.png", "x"), make("four.doc", "4444")});
    settle();
    expect(measured(3, 0), "fileProcessingQueue = [one.png, two.pdf]", measured(5, 0, limitBytes - 3),
           "fileProcessingQueue = [one.png, two.pdf, caf\xef\xbf\xbd.png, four.doc]", copied,
           "filesCountInDestination = 1", "fileProcessingQueue = [two.pdf, caf\xef\xbf\xbd.png, four.doc]",
           copied, "filesCountInDestination = 2", "fileProcessingQueue = [caf\xef\xbf\xbd.png, four.doc]",
           copied, "filesCountInDestination = 3", "fileProcessingQueue = [four.doc]", copied,
           "filesCountInDestination = 4", "fileProcessingQueue = []", counted(4));
    EXPECT_EQ(contentOf("one.png") + contentOf("two.pdf") + contentOf("caf\xe9.png"), "122x");
    EXPECT_EQ(alerts.size(), 0U);
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
    EXPECT_TRUE(UserFiles::areFilesWithinSizeLimit({home.path() / "missing"}, home.path() / "nowhere", 0));
    EXPECT_FALSE(UserFiles::areFilesWithinSizeLimit({huge, huge, huge}, home.path() / "nowhere", limitBytes));
}

// A link is followed to the file that it names; that is measured, and attached under its own name.
TEST_F(AttachmentsTest, ALinkStandsForItsFile) {
    fs::create_symlink(make("shot.png", "22"), home.path() / "latest");
    fs::create_symlink(makeLarge("large.pdf", limitBytes + 1), home.path() / "small.pdf");
    fs::create_symlink(make("secret.key"), home.path() / "harmless.png");
    fs::create_symlink("missing", home.path() / "dangling.png");
    attach({home.path() / "latest", home.path() / "harmless.png", home.path() / "dangling.png"});
    EXPECT_EQ(record.take().front(), measured(2, 0));
    expectLeftOut("harmless.png: Only pictures and documents can be attached",
                  "dangling.png: No such file or directory");
    EXPECT_EQ(contentOf("shot.png"), "22");
    EXPECT_EQ(view.filesCountInDestination, 1);
    attach({home.path() / "small.pdf"});
    EXPECT_EQ(view.activeAlert, ActiveAlert::fileSize);
}

// --- A name that is attached already ---

TEST_F(AttachmentsTest, AClashStopsTheCopyingUntilTheUserReplacesTheFile) {
    const auto again = make("a.png", "new");
    attach({make("x/a.png", "old"), again, make("b.png")});
    expect(measured(13, 0), "fileProcessingQueue = [a.png, a.png, b.png]", copied,
           "filesCountInDestination = 1", "fileProcessingQueue = [a.png, b.png]",
           "currentFileToProcess = ~/picked/a.png",
           "fileExistsAlertMessage = File a.png already exists. Do you want to replace it?",
           "activeAlert = replaceFile", "showAlert = true");
    cancel();
    expectLeftOut("b.png: Waits until you attach more files");
    EXPECT_EQ(view.attachedFilesLabel.value(), QStringLiteral("1 file(s) attached"));
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
    // The rest follows half a second after the replacement.
    ASSERT_TRUE(runMainQueueUntil([&] { return fs::exists(attached("b.png")); }, 2s));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 495ms);
    settle();
    expect("showAlert = false", copied, "fileProcessingQueue = [b.png, c.png]", "currentFileToProcess = none",
           copied, "filesCountInDestination = 2", "fileProcessingQueue = [c.png]", copied,
           "filesCountInDestination = 3", "fileProcessingQueue = []", counted(3));
    EXPECT_EQ(contentOf("a.png"), "new");
    EXPECT_EQ(alerts.size(), 0U);
}

// It comes up by the desktop's panel, or by a slow disk.
TEST_F(AttachmentsTest, ASecondPickWaitsForTheAnswerToTheFirst) {
    attach({make("x/a.png", "old")});
    attach({make("a.png", "new"), make("b.png")});
    attach({make("c.png")});
    attach({makeLarge("large.png", limitBytes + 1)});
    EXPECT_TRUE(view.showAlert);
    EXPECT_EQ(view.activeAlert, ActiveAlert::replaceFile);
    // The answer comes as soon as the files of another one wait too.
    const auto answer = view.fileProcessingQueue.addNotifier([&] {
        if (view.fileProcessingQueue.value().size() == 4)
            onMainQueue([&] { view.answerAlert(true); });
    });
    view.attach({make("d.png")});
    ASSERT_TRUE(runMainQueueUntil([&] { return !alerts.empty(); }));
    EXPECT_FALSE(view.showAlert);
    expectLeftOut("large.png: The files are too large together");
    EXPECT_EQ(contentOf("a.png"), "new");
    EXPECT_TRUE(fs::exists(attached("b.png")) && fs::exists(attached("c.png")) &&
                fs::exists(attached("d.png")));
}

// What the user declined meets no clash any more when the attached files are removed.
TEST_F(AttachmentsTest, WhatWasDeclinedIsNotAttachedAfterARemoval) {
    const auto declined = makeLarge("a.png", 9'000'000);
    attach({make("x/a.png", "old")});
    attach({declined, make("b.png")});
    cancel();
    removeAll();
    attach({makeLarge("c.png", 9'000'000)});
    EXPECT_FALSE(view.showAlert || fs::exists(attached("a.png")) || fs::exists(attached("b.png")));
    EXPECT_EQ(view.filesCountInDestination, 1);
}

// What waits counts by what it could add: it may yet replace what is attached.
TEST_F(AttachmentsTest, TheLimitHoldsOverWhatWaitsAsWell) {
    attach({makeLarge("x/a.png", 1'000'000)});
    attach({makeLarge("a.png", 4'000'000), makeLarge("b.png", 2'000'000)});
    cancel();
    record.take();
    attach({makeLarge("c.png", limitBytes - 6'000'000 + 1)});
    EXPECT_EQ(record.take().front(), measured(limitBytes - 6'000'000 + 1, 1'000'000, limitBytes - 5'000'000));
    EXPECT_EQ(view.activeAlert, ActiveAlert::fileSize);
    cancel();
    attach({makeLarge("d.png", limitBytes - 6'000'000)});
    EXPECT_EQ(view.activeAlert, ActiveAlert::replaceFile);
    replace();
    EXPECT_EQ(view.filesCountInDestination, 3);
    EXPECT_EQ(fs::file_size(attached("a.png")), 4'000'000U);
}

TEST_F(AttachmentsTest, ARemovalInMidCopyingLeavesNothing) {
    bool isPressed = false;
    const auto press = view.filesCountInDestination.addNotifier([&] {
        if (!std::exchange(isPressed, true))
            view.removeAllUserFiles();
    });
    attach({make("a.png"), make("b.png"), make("x/a.png")});
    EXPECT_FALSE(fs::exists(*userFilesURL) || view.showAlert);
    EXPECT_EQ(view.filesCountInDestination, 0);
}

TEST_F(AttachmentsTest, ALinkUnderAnAttachedNameClashesAndIsNotWrittenThrough) {
    writeFile(home.path() / "target", "not to be touched");
    fs::create_directories(*userFilesURL);
    fs::create_symlink(home.path() / "target", attached("a.png"));
    fs::create_symlink(home.path() / "missing", attached("b.png"));
    attach({make("a.png", "new"), make("b.png", "new too")});
    replace();
    replace();
    EXPECT_EQ(contentOf("a.png") + contentOf("b.png"), "newnew too");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(attached("a.png"))));
    EXPECT_EQ(readFile(home.path() / "target"), "not to be touched");
    EXPECT_FALSE(fs::exists(home.path() / "missing"));
}

// --- What cannot be copied ---

// Without a question first, whether or not its name is attached.
TEST_F(AttachmentsTest, WhatIsNoFileIsLeftOutAndReplacesNothing) {
    const fs::path bad = home.path() / "picked/bad.pdf";
    const std::tuple<std::function<void()>, std::string, std::string> kinds[] = {
        {[&] { fs::create_directories(bad / "inside"); }, "Is a directory", "Folders cannot be attached"},
        {[&] { EXPECT_EQ(::mkfifo(bad.c_str(), 0600), 0); }, "Invalid argument",
         "Pipes and devices cannot be attached"},
        {[] {}, "No such file or directory", "No such file or directory"}};
    for (const auto &[makeBad, error, reason] : kinds) {
        makeBad();
        record.take();
        // It leaves one line in the log between two good files.
        attach({make("before.png"), bad, make("after.png")});
        EXPECT_THAT(
            record.takeLog(),
            ElementsAre(testing::_, copied, "ERROR: Error while copying file: " + error, copied, counted(2)));
        expectLeftOut("bad.pdf: " + reason);
        EXPECT_FALSE(fs::exists(fs::symlink_status(attached("bad.pdf"))));
        writeFile(attached("bad.pdf"), "attached before");
        attach({bad});
        expectLeftOut("bad.pdf: " + reason);
        EXPECT_EQ(contentOf("bad.pdf"), "attached before");
        removeAll();
        fs::remove_all(bad);
    }
}

TEST_F(AttachmentsTest, AFileThatIsAttachedDoesNotLoseItselfToItsOwnCopy) {
    attach({make("a.png", "old")});
    attach({attached("a.png")});
    replace();
    EXPECT_EQ(contentOf("a.png"), "old");
}

TEST_F(AttachmentsTest, OnAFullDiskWhatIsAttachedStays) {
    REQUIRE_OWN_NAMESPACES();
    fs::create_directories(userFilesURL->parent_path());
    const auto small = test_support::Mount::memory(userFilesURL->parent_path(), 65536);
    temptempURL = userFilesURL->parent_path() / "temp";
    attach({make("b.png", "old")});
    attach({make("b.png", QByteArray(1'000'000, 'x'))});
    replace();
    EXPECT_EQ(contentOf("b.png"), "old");
    expectLeftOut("b.png: No space left on device");
    EXPECT_THAT(record.takeLog(),
                testing::Contains("ERROR: Error while copying file: No space left on device").Times(1));
}

// Nobody waits for such a copy any longer, and the user has been told so.
TEST_F(AttachmentsTest, ACopyThatComesTooLateIsNotAttached) {
    const auto decision = std::make_shared<std::atomic<bool>>(true);
    UserFiles::copyInto(*userFilesURL, *temptempURL, make("late.png"), UserFiles::Clash::asks, decision);
    EXPECT_FALSE(fs::exists(attached("late.png")));
    EXPECT_TRUE(fs::is_empty(*temptempURL));
}

TEST_F(AttachmentsTest, AnAlertNamesSixFilesAndCountsTheOthers) {
    std::vector<fs::path> files;
    for (int i = 1; i < 9; ++i)
        files.emplace_back("/" + std::to_string(i));
    files[0] = "/" + std::string(40, '1') + "no room" + std::string(20, '1');
    attach(files);
    const std::string reason = ": Only pictures and documents can be attached";
    expectLeftOut(std::string(40, '1') + "…" + std::string(20, '1') + reason, "2" + reason, "3" + reason,
                  "4" + reason, "5" + reason, "6" + reason, "and 2 more");
    expect();
}

// --- Counting and removing ---

TEST_F(AttachmentsTest, EveryEntryCountsAndIsRemoved) {
    view.filesCountInDestination = 5;
    record.take();
    count();
    // The folder is not there yet.
    expect("filesCountInDestination = 0");
    fs::create_directories(attached("folder") / "inside");
    fs::create_symlink("nowhere", attached("link"));
    count();
    expect(counted(2), "filesCountInDestination = 2");
    removeAll();
    expect("INFO: UserFiles directory removed with 2 files.", "filesCountInDestination = 0");
    EXPECT_FALSE(fs::exists(*userFilesURL));
    removeAll();
    expect("ERROR: Error listing files in destination directory: No such file or directory");
    writeFile(*userFilesURL, "a file");
    count();
    expect("ERROR: Error reading contents of the destination directory: Not a directory");
}

TEST_F(AttachmentsTest, ARemovalThatFailsKeepsTheCount) {
    REQUIRE_OWN_NAMESPACES();
    attach({make("a.png")});
    record.take();
    const auto readOnly = test_support::Mount::readOnly(*userFilesURL);
    removeAll();
    expect("ERROR: Error listing files in destination directory: Read-only file system", counted(1));
}

TEST_F(AttachmentsTest, RemovingALinkInTheFoldersPlaceLeavesItsTarget) {
    writeFile(home.path() / "elsewhere/file", "kept");
    fs::create_directories(userFilesURL->parent_path());
    fs::create_directory_symlink(home.path() / "elsewhere", *userFilesURL);
    removeAll();
    EXPECT_EQ(readFile(home.path() / "elsewhere/file"), "kept");
    EXPECT_FALSE(fs::exists(fs::symlink_status(*userFilesURL)));
}

TEST_F(AttachmentsTest, WithoutALocationNothingIsAttachedCountedOrRemoved) {
    view.replaceFileAndContinue();
    settle();
    expect(noLocation);
    userFilesURL.reset();
    const auto file = make("a.png");
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
    settle();
    expect(noLocation, "fileProcessingQueue = []", "currentFileToProcess = none", noLocation);
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
        QStringList picked;
        for (const fs::path &file : files)
            picked.append(FolderList::encoded(file));
        view.closeFilePanel(picked);
        settle();
    }
};

TEST_F(FilePanelTest, ComesUpOnceAndAttachesNothingWhenItIsCancelled) {
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
    pick({make("one %2e#\xff.pdf"), make("two.PNG"), make("three.exe"), make("pdf")});
    expect("isFilePanelVisible = false", "isFilePickerPresented = false", measured(14, 0),
           "fileProcessingQueue = [one %2e#\xef\xbf\xbd.pdf, two.PNG]", copied, "filesCountInDestination = 1",
           "fileProcessingQueue = [two.PNG]", copied, "filesCountInDestination = 2",
           "fileProcessingQueue = []", counted(2));
    expectLeftOut("three.exe: Only pictures and documents can be attached",
                  "pdf: Only pictures and documents can be attached");
    // Once the archive was started, nothing is attached any more.
    UtilityFunctions::ShareButtonPressed = true;
    pick({make("late.pdf")});
    expectLeftOut("late.pdf: The logs are already packed");
    EXPECT_FALSE(fs::exists(attached("late.pdf")));
}

TEST_F(AttachmentsTest, AWindowThatIsGoneAttachesNothingMore) {
    {
        ContentView gone;
        gone.attach({make("a.png")});
        gone.presentFilePicker();
    }
    // What the disk was asked for is still done: the file is measured.
    EXPECT_TRUE(runMainQueueUntil([&] { return !test_support::logLines(log).empty(); }));
    runMainQueueFor(30ms);
    EXPECT_FALSE(fs::exists(*userFilesURL));
}

TEST_F(AttachmentsTest, AShareStopsForWhatTheUserHasToSeeFirst) {
    view.changeFeedback(QStringLiteral("It crashed"));
    attach({make("a.png", "old")});
    for (const fs::path &file : {make("a.png", "new"), make("b.exe")}) {
        view.attach({file});
        view.ShareButtonPressed();
        EXPECT_TRUE(view.isRunning && view.primaryButtonDisabled && view.isFeedbackEmailLayoutDisabled);
        EXPECT_EQ(view.logLabel.value(), QStringLiteral("Waiting for attached files."));
        settle();
        EXPECT_TRUE(view.showAlert || !alerts.empty());
        view.showAlert = false;
        EXPECT_FALSE(view.isRunning || view.primaryButtonDisabled || view.isFeedbackEmailLayoutDisabled ||
                     view.isFormFrozen);
    }
}

} // namespace
