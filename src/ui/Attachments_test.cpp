#include "discovery/RunState.h"
#include "logging/Logging.h"
#include "test_support/ArchiveReader.h"
#include "test_support/Isolation.h"
#include "test_support/WindowFixture.h"

#include <QFileDialog>
#include <QLineEdit>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace UtilityFunctions;
using test_support::logLines;
using test_support::readFile;
using test_support::runMainQueueFor;
using test_support::runMainQueueUntil;
using test_support::writeFile;
using testing::ElementsAre;
using ActiveAlert = ContentView::ActiveAlert;

constexpr qint64 limitBytes = 10'485'760;

class AttachmentsTest : public WindowTest {
protected:
    AttachmentsTest() { userFilesURL = home.path() / "out/UserFiles"; }

    fs::path make(const std::string &name, const QByteArray &content = "content") {
        fs::path file = home.path() / "picked" / name;
        writeFile(file, content);
        return file;
    }
    // A file of that size, and none of the disk's.
    fs::path makeLarge(const std::string &name, std::uintmax_t bytes) {
        fs::path file = make(name, {});
        fs::resize_file(file, bytes);
        return file;
    }
    fs::path attached(const std::string &name) const { return *userFilesURL / name; }
    void attachAndWait(const std::vector<fs::path> &files) {
        view.attach(files);
        runMainQueueUntil([&] { return view.showAlert || view.fileProcessingQueue.value().empty(); });
        waitForCopies();
    }
    fs::path picked(const char *name) const { return home.path() / "picked" / name; }
    // Until nothing is left to do without the user.
    void waitForCopies() { runMainQueueFor(30ms); }
    void cancelAlert() { view.showAlert = false; }
    void replace() {
        view.showAlert = false;
        view.replaceFileAndContinue();
    }
    static std::string measured(qint64 selected, qint64 existing) {
        return "INFO: Currently user selected files size: " + std::to_string(selected) +
               ", existing user files size: " + std::to_string(existing) + ", limit in bytes: 10485760";
    }
    static std::string clash(const std::string &name) {
        return "fileExistsAlertMessage = File " + name + " already exists. Do you want to replace it?";
    }

    ContentView view;
    Recorder record{view, home.path()};
};

const std::string copied = "INFO: File copied successfully.";

// --- Attaching ---

TEST_F(AttachmentsTest, FilesAreCopiedOneInEachTurnAndThenCounted) {
    const auto one = make("one.png", "1");
    const auto two = make("two.pdf", "22");
    view.attach({one, two});
    // The first is copied at once, the second in a later turn.
    EXPECT_THAT(record.take(), ElementsAre(measured(3, 0), "fileProcessingQueue = [one.png, two.pdf]", copied,
                                           "fileProcessingQueue = [two.pdf]"));
    waitForCopies();
    EXPECT_THAT(record.take(), ElementsAre(copied, "fileProcessingQueue = []", "filesCountInDestination = 2",
                                           "INFO: Total user files attached: 2"));
    EXPECT_EQ(readFile(attached("one.png")), "1");
    EXPECT_EQ(readFile(attached("two.pdf")), "22");
}

TEST_F(AttachmentsTest, OtherWorkHasItsTurnBetweenTwoCopies) {
    std::vector<std::size_t> left;
    view.attach({make("1"), make("2"), make("3"), make("4")});
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &view,
                     [&] { left.push_back(view.fileProcessingQueue.value().size()); });
    timer.start(0);
    waitForCopies();
    EXPECT_THAT(left, testing::Contains(2U));
    EXPECT_THAT(left, testing::Contains(1U));
}

TEST_F(AttachmentsTest, AttachedAndPickedFilesTogetherMayHaveTheLimitAndNotOneByteMore) {
    attachAndWait({make("small.png", "1"), makeLarge("large.pdf", limitBytes)});
    EXPECT_THAT(record.take(),
                ElementsAre(measured(limitBytes + 1, 0), "activeAlert = fileSize", "showAlert = true"));
    EXPECT_FALSE(fs::exists(*userFilesURL));
    EXPECT_TRUE(view.fileProcessingQueue.value().empty());
    cancelAlert();
    attachAndWait({makeLarge("a.pdf", 10'000'000)});
    record.take();
    attachAndWait({makeLarge("b.pdf", limitBytes - 10'000'000 + 1)});
    EXPECT_THAT(record.take(),
                ElementsAre(measured(limitBytes - 10'000'000 + 1, 10'000'000), "showAlert = true"));
    cancelAlert();
    attachAndWait({makeLarge("c.pdf", limitBytes - 10'000'005), makeLarge("d.pdf", 5)});
    EXPECT_FALSE(view.showAlert);
    EXPECT_EQ(view.filesCountInDestination, 3);
    EXPECT_EQ(fs::file_size(attached("a.pdf")), 10'000'000U);
}

TEST_F(AttachmentsTest, FilesAreMeasuredAgainstTheLimitOfTheCaller) {
    const auto file = make("a", "12345");
    const fs::path nowhere = home.path() / "nowhere";
    EXPECT_TRUE(view.areFilesWithinSizeLimit({file}, nowhere, 5));
    EXPECT_FALSE(view.areFilesWithinSizeLimit({file}, nowhere, 4));
    EXPECT_FALSE(view.areFilesWithinSizeLimit({file}, std::nullopt, 1000));
    EXPECT_EQ(logLines(log).last(), QStringLiteral("ERROR: userFilesURL is nil"));
    // A file without a size counts nothing, and terabytes do not overflow the sum.
    EXPECT_TRUE(view.areFilesWithinSizeLimit({home.path() / "missing"}, nowhere, 0));
    const auto huge = makeLarge("huge.pdf", std::uintmax_t{5} << 40);
    EXPECT_FALSE(view.areFilesWithinSizeLimit({huge, huge, huge}, nowhere, limitBytes));
}

TEST_F(AttachmentsTest, NamesThatAreNoUtf8AreKept) {
    const auto file = make("caf\xe9.png", "x");
    attachAndWait({file});
    EXPECT_EQ(readFile(attached("caf\xe9.png")), "x");
}

TEST_F(AttachmentsTest, ASecondPickWhileFilesAreQueuedIsCopiedAfterThem) {
    view.attach({make("1"), make("2")});
    view.attach({make("3"), make("4")});
    waitForCopies();
    EXPECT_EQ(view.filesCountInDestination, 4);
    EXPECT_TRUE(view.fileProcessingQueue.value().empty());
}

// --- A name that is attached already ---

TEST_F(AttachmentsTest, AClashAsksAndCopiesNothingMore) {
    attachAndWait({make("a.png", "old")});
    const auto again = make("a.png", "new");
    const auto behind = make("b.png");
    record.take();
    attachAndWait({again, behind});
    EXPECT_THAT(record.take(), ElementsAre(measured(10, 3), "fileProcessingQueue = [a.png, b.png]",
                                           "currentFileToProcess = ~/picked/a.png", clash("a.png"),
                                           "activeAlert = replaceFile", "showAlert = true"));
    cancelAlert();
    waitForCopies();
    EXPECT_EQ(readFile(attached("a.png")), "old");
    EXPECT_FALSE(fs::exists(attached("b.png")));
    EXPECT_EQ(view.currentFileToProcess.value(), again);
    EXPECT_EQ(view.fileProcessingQueue.value(), (std::vector<fs::path>{again, behind}));
}

TEST_F(AttachmentsTest, AfterACancelTheNextPickMeetsTheClashFirst) {
    attachAndWait({make("a.png", "old")});
    attachAndWait({make("a.png", "new"), make("b.png")});
    cancelAlert();
    // A pick that is refused does not meet it.
    attachAndWait({makeLarge("large.pdf", limitBytes + 1)});
    EXPECT_EQ(view.activeAlert, ActiveAlert::fileSize);
    cancelAlert();
    record.take();
    attachAndWait({make("c.png")});
    EXPECT_THAT(record.takeFields(), ElementsAre("fileProcessingQueue = [a.png, b.png, c.png]",
                                                 "activeAlert = replaceFile", "showAlert = true"));
    EXPECT_FALSE(fs::exists(attached("c.png")));
    EXPECT_EQ(readFile(attached("a.png")), "old");
    // Replaced, all three are attached.
    replace();
    ASSERT_TRUE(runMainQueueUntil([&] { return view.filesCountInDestination.value() == 3; }, 2s));
    EXPECT_EQ(readFile(attached("a.png")), "new");
}

TEST_F(AttachmentsTest, AReplacedFileLetsTheRestGoOnAfterHalfASecond) {
    attachAndWait({make("a.png", "old")});
    attachAndWait({make("a.png", "new"), make("b.png")});
    record.take();
    const auto start = std::chrono::steady_clock::now();
    replace();
    EXPECT_THAT(record.take(), ElementsAre("showAlert = false", copied, "fileProcessingQueue = [b.png]",
                                           "currentFileToProcess = none"));
    EXPECT_EQ(readFile(attached("a.png")), "new");
    ASSERT_TRUE(runMainQueueUntil([&] { return fs::exists(attached("b.png")); }, 2s));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 495ms);
    waitForCopies();
    EXPECT_THAT(record.take(), ElementsAre(copied, "fileProcessingQueue = []", "filesCountInDestination = 2",
                                           "INFO: Total user files attached: 2"));
}

TEST_F(AttachmentsTest, TwoFilesOfOneNameInAPickClash) {
    attachAndWait({make("x/a.png", "first"), make("y/a.png", "second")});
    EXPECT_TRUE(view.showAlert);
    replace();
    ASSERT_TRUE(runMainQueueUntil([&] { return view.filesCountInDestination.value() == 1; }, 2s));
    EXPECT_EQ(readFile(attached("a.png")), "second");
}

TEST_F(AttachmentsTest, ReplacingWithNothingToReplaceIsLogged) {
    view.replaceFileAndContinue();
    EXPECT_THAT(record.take(), ElementsAre("ERROR: userFilesURL is nil"));
}

TEST_F(AttachmentsTest, ALinkUnderAnAttachedNameClashesAndIsNotWrittenThrough) {
    writeFile(home.path() / "target", "not to be touched");
    fs::create_directories(*userFilesURL);
    fs::create_symlink(home.path() / "target", attached("a.png"));
    fs::create_symlink(home.path() / "missing", attached("b.png"));
    attachAndWait({make("a.png", "new"), make("b.png", "new too")});
    EXPECT_TRUE(view.showAlert);
    replace();
    ASSERT_TRUE(runMainQueueUntil([&] { return view.showAlert.value(); }, 2s));
    replace();
    ASSERT_TRUE(runMainQueueUntil([&] { return view.filesCountInDestination.value() == 2; }, 2s));
    EXPECT_EQ(readFile(attached("a.png")), "new");
    EXPECT_EQ(readFile(attached("b.png")), "new too");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(attached("a.png"))));
    EXPECT_EQ(readFile(home.path() / "target"), "not to be touched");
    EXPECT_FALSE(fs::exists(home.path() / "missing"));
}

// --- What cannot be copied ---

struct Uncopyable {
    const char *name;
    void (*make)(const fs::path &);
    const char *reason;
};

void PrintTo(const Uncopyable &kind, std::ostream *out) {
    *out << kind.name;
}

void makeSocket(const fs::path &file) {
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    file.native().copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(socket, reinterpret_cast<struct sockaddr *>(&address), sizeof address), 0);
    ::close(socket);
}

class UncopyableTest : public AttachmentsTest, public testing::WithParamInterface<Uncopyable> {
protected:
    // Attached between two good files; the log has the one line.
    void expectLeftOut(const fs::path &bad, const std::string &reason) {
        attachAndWait({make("before.png"), bad, make("after.png")});
        const auto lines = record.takeLog();
        ASSERT_EQ(lines.size(), 5U) << testing::PrintToString(lines);
        EXPECT_THAT(std::vector<std::string>(lines.begin() + 1, lines.end()),
                    ElementsAre(copied, "ERROR: Error while copying file: " + reason, copied,
                                "INFO: Total user files attached: 2"));
        EXPECT_TRUE(view.fileProcessingQueue.value().empty());
        EXPECT_FALSE(fs::exists(fs::symlink_status(attached(bad.filename()))));
    }
    // A replacement that fails does not lose what is attached under its name.
    void expectKept(const fs::path &bad) {
        writeFile(attached(bad.filename()), "attached before");
        record.take();
        attachAndWait({bad});
        ASSERT_TRUE(view.showAlert);
        replace();
        runMainQueueFor(550ms);
        EXPECT_EQ(readFile(attached(bad.filename())), "attached before");
        EXPECT_EQ(view.filesCountInDestination, 1);
        EXPECT_THAT(record.takeLog(),
                    testing::Contains(testing::StartsWith("ERROR: Error while copying file: ")).Times(1));
    }
};

TEST_P(UncopyableTest, IsLeftOutAndReplacesNothing) {
    const fs::path bad = picked("bad.pdf");
    fs::create_directories(bad.parent_path());
    GetParam().make(bad);
    expectLeftOut(bad, GetParam().reason);
    view.removeAllUserFiles();
    expectKept(bad);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, UncopyableTest,
    testing::Values(
        Uncopyable{"folder", [](const fs::path &path) { fs::create_directories(path / "inside"); },
                   "Is a directory"},
        Uncopyable{"pipe", [](const fs::path &path) { EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0); },
                   "Invalid argument"},
        Uncopyable{"socket", makeSocket, "Invalid argument"},
        Uncopyable{"missing", [](const fs::path &) {}, "No such file or directory"},
        // Under a harmless name a link may lead anywhere.
        Uncopyable{"link",
                   [](const fs::path &path) {
                       writeFile(path.parent_path() / "target", "the document");
                       fs::create_symlink("target", path);
                   },
                   "Too many levels of symbolic links"},
        Uncopyable{"link to nowhere", [](const fs::path &path) { fs::create_symlink("nowhere", path); },
                   "Too many levels of symbolic links"},
        Uncopyable{"link to a folder", [](const fs::path &path) { fs::create_directory_symlink(".", path); },
                   "Too many levels of symbolic links"}),
    [](const auto &kind) { return std::to_string(kind.index); });

// An endless one, under the name of a document.
TEST_F(UncopyableTest, ADevice) {
    REQUIRE_OWN_NAMESPACES();
    const auto device = test_support::Mount::over("/dev/zero", make("device.pdf"));
    expectLeftOut(picked("device.pdf"), "Invalid argument");
}

TEST_F(UncopyableTest, AFileThatThisUserMayNotRead) {
    constexpr uid_t nobody = 65534;
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    const auto before = make("before.png");
    const auto file = make("private.pdf");
    const auto after = make("after.png");
    fs::permissions(file, fs::perms::none);
    ASSERT_EQ(::chown(home.path().c_str(), nobody, nobody), 0);
    for (const auto &entry : fs::recursive_directory_iterator(home.path()))
        ASSERT_EQ(::chown(entry.path().c_str(), entry.path() == file ? 0 : nobody, nobody), 0);
    ASSERT_EQ(::seteuid(nobody), 0);
    attachAndWait({before, file, after});
    ASSERT_EQ(::seteuid(0), 0);
    EXPECT_EQ(view.filesCountInDestination, 2);
    EXPECT_EQ(logLines(log).filter(QStringLiteral("ERROR: ")),
              QStringList{QStringLiteral("ERROR: Error while copying file: Permission denied")});
}

TEST_F(AttachmentsTest, TheAttachedFileItselfStays) {
    attachAndWait({make("a.png", "old")});
    attachAndWait({attached("a.png")});
    ASSERT_TRUE(view.showAlert);
    replace();
    runMainQueueFor(550ms);
    EXPECT_EQ(readFile(attached("a.png")), "old");
}

TEST_F(UncopyableTest, OnAFullDiskWhatIsAttachedStays) {
    REQUIRE_OWN_NAMESPACES();
    fs::create_directories(userFilesURL->parent_path());
    const auto small = test_support::Mount::memory(userFilesURL->parent_path(), 65536);
    const QByteArray large(1'000'000, 'x');
    attachAndWait({make("a.pdf", large), make("b.png", "old")});
    EXPECT_FALSE(fs::exists(attached("a.pdf")));
    EXPECT_EQ(logLines(log).filter(QStringLiteral("ERROR: ")),
              QStringList{QStringLiteral("ERROR: Error while copying file: No space left on device")});
    attachAndWait({make("b.png", large)});
    ASSERT_TRUE(view.showAlert);
    replace();
    runMainQueueFor(550ms);
    EXPECT_EQ(readFile(attached("b.png")), "old");
    EXPECT_EQ(view.filesCountInDestination, 1);
}

// --- Counting and removing ---

TEST_F(AttachmentsTest, WithoutAFolderNothingIsAttachedAndNothingLogged) {
    view.filesCountInDestination = 3;
    record.take();
    view.updateFileCount();
    EXPECT_THAT(record.take(), ElementsAre("filesCountInDestination = 0"));
}

TEST_F(AttachmentsTest, EveryEntryCounts) {
    writeFile(attached("a"), "");
    fs::create_directories(attached("folder") / "inside");
    fs::create_symlink("nowhere", attached("link"));
    view.updateFileCount();
    EXPECT_THAT(record.take(),
                ElementsAre("filesCountInDestination = 3", "INFO: Total user files attached: 3"));
}

TEST_F(AttachmentsTest, AFolderThatCannotBeListedKeepsTheCountAndIsLogged) {
    writeFile(*userFilesURL, "a file");
    view.filesCountInDestination = 2;
    record.take();
    view.updateFileCount();
    EXPECT_THAT(record.take(),
                ElementsAre("ERROR: Error reading contents of the destination directory: Not a directory"));
    EXPECT_EQ(view.filesCountInDestination, 2);
}

TEST_F(AttachmentsTest, RemovingTakesAllAndLogsHowMany) {
    attachAndWait({make("a", "1"), make("b"), make("c")});
    record.take();
    view.removeAllUserFiles();
    EXPECT_THAT(record.take(), ElementsAre("INFO: UserFiles directory removed with 3 files.",
                                           "filesCountInDestination = 0"));
    EXPECT_FALSE(fs::exists(*userFilesURL));
    // Files can be attached again, and a folder that has vanished is logged.
    attachAndWait({make("a", "2")});
    EXPECT_FALSE(view.showAlert);
    EXPECT_EQ(readFile(attached("a")), "2");
    fs::remove_all(*userFilesURL);
    record.take();
    view.removeAllUserFiles();
    EXPECT_THAT(record.take(),
                ElementsAre("ERROR: Error listing files in destination directory: No such file or directory",
                            "filesCountInDestination = 0"));
}

TEST_F(AttachmentsTest, ARemovalThatFailsKeepsTheCount) {
    REQUIRE_OWN_NAMESPACES();
    attachAndWait({make("a"), make("b")});
    const auto readOnly = test_support::Mount::readOnly(*userFilesURL);
    record.take();
    view.removeAllUserFiles();
    EXPECT_THAT(record.take(),
                ElementsAre("ERROR: Error listing files in destination directory: Read-only file system",
                            "INFO: Total user files attached: 2"));
    EXPECT_EQ(view.filesCountInDestination, 2);
}

TEST_F(AttachmentsTest, RemovingALinkInTheFoldersPlaceLeavesItsTarget) {
    writeFile(home.path() / "elsewhere/file", "kept");
    fs::create_directories(userFilesURL->parent_path());
    fs::create_directory_symlink(home.path() / "elsewhere", *userFilesURL);
    view.removeAllUserFiles();
    EXPECT_EQ(readFile(home.path() / "elsewhere/file"), "kept");
    EXPECT_FALSE(fs::exists(fs::symlink_status(*userFilesURL)));
}

// --- Without a location ---

TEST_F(AttachmentsTest, WithoutALocationAPickIsRefused) {
    userFilesURL.reset();
    attachAndWait({make("a")});
    EXPECT_THAT(record.take(),
                ElementsAre("ERROR: userFilesURL is nil", "activeAlert = fileSize", "showAlert = true"));
}

TEST_F(AttachmentsTest, WithoutALocationNothingIsCopiedCountedOrRemoved) {
    const auto file = make("a");
    view.fileProcessingQueue = std::vector<fs::path>{file};
    userFilesURL.reset();
    record.take();
    const std::string missing = "ERROR: userFilesURL is nil";
    view.processNextFile();
    EXPECT_THAT(record.take(), ElementsAre(missing));
    view.updateFileCount();
    EXPECT_THAT(record.take(), ElementsAre(missing));
    view.removeAllUserFiles();
    EXPECT_THAT(record.take(), ElementsAre(missing));
    view.currentFileToProcess = file;
    record.take();
    view.replaceFileAndContinue();
    EXPECT_THAT(record.take(),
                ElementsAre(missing, "fileProcessingQueue = []", "currentFileToProcess = none"));
}

TEST_F(AttachmentsTest, AWindowThatIsGoneCopiesNothingMore) {
    {
        ContentView gone;
        gone.attach({make("a"), make("b")});
    }
    waitForCopies();
    EXPECT_FALSE(fs::exists(attached("b")));
}

// --- The panel ---

class FilePanelTest : public AttachmentsTest {
protected:
    QFileDialog *panel() {
        QFileDialog *found = nullptr;
        EXPECT_TRUE(runMainQueueUntil([&] {
            for (QWidget *widget : QApplication::topLevelWidgets()) {
                auto *dialog = qobject_cast<QFileDialog *>(widget);
                if (dialog && dialog->isVisible())
                    found = dialog;
            }
            return found != nullptr;
        }));
        return found;
    }
    // As a user types it, and presses the button.
    void type(const char *names) {
        auto *dialog = panel();
        dialog->findChild<QLineEdit *>()->setText(QString::fromLatin1(names));
        static_cast<QDialog *>(dialog)->accept();
        runMainQueueUntil([&] { return view.fileProcessingQueue.value().empty(); });
        waitForCopies();
    }
};

TEST_F(FilePanelTest, OffersTheKindsOfFilesAndSeveralOfThem) {
    view.presentFilePicker();
    view.presentFilePicker();
    EXPECT_THAT(record.take(), ElementsAre("isFilePickerPresented = true"));
    const QPointer<QFileDialog> dialog = panel();
    EXPECT_EQ(QApplication::topLevelWidgets().count(dialog.data()), 1);
    EXPECT_EQ(dialog->fileMode(), QFileDialog::ExistingFiles);
    EXPECT_EQ(dialog->windowModality(), Qt::ApplicationModal);
    EXPECT_EQ(dialog->directory().path(), QString::fromStdString(home.path().native()));
    EXPECT_EQ(
        dialog->nameFilters(),
        QStringList{QStringLiteral(
            "Pictures and documents (*.pdf *.jpg *.jpeg *.png *.doc *.docx *.xls *.xlsx *.ppt *.pptx)")});
    dialog->reject();
    EXPECT_TRUE(runMainQueueUntil([&] { return dialog.isNull(); }));
    EXPECT_THAT(record.take(), ElementsAre("isFilePickerPresented = false"));
}

TEST_F(FilePanelTest, AttachesWhatIsPickedButForOtherKindsOfFiles) {
    for (const char *name : {"one.pdf", "two.PNG", "three.exe"})
        writeFile(home.path() / name, "1");
    view.presentFilePicker();
    record.take();
    type("\"one.pdf\" \"two.PNG\" \"three.exe\"");
    EXPECT_THAT(record.take(),
                ElementsAre("isFilePickerPresented = false", measured(2, 0),
                            "fileProcessingQueue = [one.pdf, two.PNG]", copied,
                            "fileProcessingQueue = [two.PNG]", copied, "fileProcessingQueue = []",
                            "filesCountInDestination = 2", "INFO: Total user files attached: 2"));
}

TEST_F(FilePanelTest, WhatIsPickedAfterTheArchiveWasStartedIsNotAttached) {
    UtilityFunctions::ShareButtonPressed = true;
    ContentView frozen;
    frozen.filesPicked(std::vector<fs::path>{make("late.pdf")});
    EXPECT_FALSE(fs::exists(*userFilesURL));
}

TEST_F(FilePanelTest, AFailureOfThePanelIsLogged) {
    view.isFilePickerPresented = true;
    record.take();
    view.filesPicked(QStringLiteral("no panel"));
    EXPECT_THAT(record.take(),
                ElementsAre("isFilePickerPresented = false", "ERROR: File selection error: no panel"));
}

TEST_F(FilePanelTest, APanelWhoseWindowIsGoneAttachesNothing) {
    writeFile(home.path() / "one.pdf", "1");
    {
        ContentView gone;
        gone.presentFilePicker();
        panel();
    }
    type("one.pdf");
    EXPECT_FALSE(fs::exists(*userFilesURL));
}

// --- Sharing while files are queued ---

class ShareAttachmentsTest : public ShareTest {
protected:
    fs::path make(const char *name, const QByteArray &content = "content") {
        writeFile(home.path() / "picked" / name, content);
        return home.path() / "picked" / name;
    }
    std::map<std::string, test_support::ArchivedItem> received() {
        return test_support::readArchive(service().receipts().at(0).archive);
    }
};

TEST_F(ShareAttachmentsTest, WhatIsStillQueuedGoesIntoTheArchive) {
    capture();
    describe();
    view.attach({make("a.png", "1"), make("b.png", "2"), make("c.png", "3")});
    EXPECT_EQ(view.fileProcessingQueue.value().size(), 2U);
    view.ShareButtonPressed();
    ASSERT_TRUE(runMainQueueUntil([&] { return hasCaption("Close"); }));
    const auto items = received();
    EXPECT_EQ(items.at("Pellix/UserFiles/a.png").content, "1");
    EXPECT_EQ(items.at("Pellix/UserFiles/b.png").content, "2");
    EXPECT_EQ(items.at("Pellix/UserFiles/c.png").content, "3");
}

TEST_F(ShareAttachmentsTest, WhatWaitsForAReplacementGoesIntoTheArchive) {
    capture();
    describe();
    view.attach({make("a.png", "old")});
    runMainQueueFor(10ms);
    view.attach({make("a.png", "new"), make("b.png")});
    view.showAlert = false;
    view.replaceFileAndContinue();
    view.ShareButtonPressed();
    ASSERT_TRUE(runMainQueueUntil([&] { return hasCaption("Close"); }));
    EXPECT_EQ(received().at("Pellix/UserFiles/a.png").content, "new");
    EXPECT_EQ(received().count("Pellix/UserFiles/b.png"), 1U);
}

TEST_F(ShareAttachmentsTest, AClashAmongTheQueuedIsForTheUserToDecideFirst) {
    capture();
    describe();
    view.attach({make("a.png", "old")});
    runMainQueueFor(10ms);
    view.attach({make("b.png"), make("a.png", "new")});
    view.ShareButtonPressed();
    EXPECT_TRUE(view.showAlert);
    EXPECT_FALSE(UtilityFunctions::ShareButtonPressed);
    EXPECT_FALSE(view.primaryButtonDisabled);
    // Cancelled, the rest is shared without it.
    view.showAlert = false;
    view.ShareButtonPressed();
    ASSERT_TRUE(runMainQueueUntil([&] { return hasCaption("Close"); }));
    EXPECT_EQ(received().at("Pellix/UserFiles/a.png").content, "old");
    EXPECT_EQ(received().count("Pellix/UserFiles/b.png"), 1U);
}

} // namespace
