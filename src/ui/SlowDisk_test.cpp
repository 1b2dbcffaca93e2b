// The window while the disk takes its time, or does not answer any more.
#include "test_support/SlowDisk.h"

#include "collection/ProcessExecution.h"
#include "discovery/ProductDiscovery.h"
#include "discovery/RunState.h"
#include "test_support/WindowFixture.h"
#include "ui/FolderList.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test_support::runMainQueueFor;
using test_support::runMainQueueUntil;
using test_support::SlowDisk;
using UtilityFunctions::userFilesURL;

// Each turn of the main queue is an answer.
class Turns {
public:
    explicit Turns(SlowDisk &disk) {
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [&disk] { disk.answer(); });
        m_timer.start(1ms);
    }

private:
    QTimer m_timer;
};

// The home folder is on the slow disk: what is picked, what is attached, and the log.
class SlowDiskTest : public WindowTest {
protected:
    void SetUp() override {
        REQUIRE_SLOW_DISK();
        userFilesURL = home.path() / "out/UserFiles";
        UtilityFunctions::temptempURL = home.path() / "temp";
        for (const char *name : {"a.png", "b.pdf"})
            test_support::writeFile(home.path() / name, "content");
        fs::create_symlink("b.pdf", home.path() / "link.pdf");
        disk.emplace(home.path());
    }
    void waitForDisk() {
        ASSERT_TRUE(runMainQueueUntil([this] { return !view.isAttaching; }, 5min));
    }

    std::optional<SlowDisk> disk;
    ContentView view;
};

TEST_F(SlowDiskTest, AttachingAndRemovingDoNotStopTheWindow) {
    const Turns turns(*disk);
    disk->setDelayUntilAnswered(30ms);
    view.attach({home.path() / "a.png", home.path() / "link.pdf"});
    waitForDisk();
    EXPECT_EQ(view.filesCountInDestination, 2);
    view.attach({home.path() / "a.png"});
    waitForDisk();
    ASSERT_TRUE(view.showAlert);
    view.answerAlert(true);
    waitForDisk();
    view.removeAllUserFiles();
    waitForDisk();
    EXPECT_EQ(view.filesCountInDestination, 0);
    disk->setDelay({});
    EXPECT_EQ(disk->unanswered(), 0);
    // Which of the operations are the main thread's is counted.
    EXPECT_EQ(disk->operationsOf(::getpid()), 0);
    EXPECT_FALSE(fs::exists(*userFilesURL));
    EXPECT_GT(disk->operationsOf(::getpid()), 0);
}

TEST_F(SlowDiskTest, ADiskThatDoesNotAnswerStopsNothing) {
    view.changeFeedback(QStringLiteral("It stopped"));
    disk->stopAnswering();
    view.attach({home.path() / "a.png"});
    view.attach({home.path() / "b.pdf"});
    view.removeAllUserFiles();
    view.ShareButtonPressed();
    runMainQueueFor(300ms);
    EXPECT_TRUE(view.isAttaching && view.isRunning);
}

// Each file has its time; what is on other disks is attached.
TEST_F(WindowTest, ADiskThatDoesNotAnswerCostsOnlyItsFiles) {
    REQUIRE_SLOW_DISK();
    userFilesURL = home.path() / "out/UserFiles";
    UtilityFunctions::temptempURL = home.path() / "temp";
    for (const char *name : {"mount/lost.png", "mount/never.png", "here.png"})
        test_support::writeFile(home.path() / name, "content");
    std::vector<std::string> alerts;
    UtilityFunctions::alertPresenter = [&](auto, const QString &message, auto) {
        alerts.push_back(message.toStdString());
    };
    const SlowDisk disk(home.path() / "mount");
    ContentView view;
    // After the first file was measured, and before it is copied.
    const auto measured = view.fileProcessingQueue.addNotifier([&] {
        view.patience = 500ms;
        disk.stopAnswering();
    });
    view.attach({home.path() / "mount/lost.png", home.path() / "here.png"});
    view.attach({home.path() / "mount/never.png"});
    ASSERT_TRUE(runMainQueueUntil([&] { return !alerts.empty(); }, 20s));
    EXPECT_THAT(alerts, testing::ElementsAre("never.png: The disk does not answer\n"
                                             "lost.png: The disk does not answer"));
    EXPECT_FALSE(view.isAttaching);
    EXPECT_EQ(view.filesCountInDestination, 1);
    EXPECT_TRUE(fs::exists(*userFilesURL / "here.png"));
}

TEST_F(WindowTest, AFileOfAWindowThatIsGoneDoesNotComeAfterItsTime) {
    REQUIRE_SLOW_DISK();
    userFilesURL = home.path() / "out/UserFiles";
    UtilityFunctions::temptempURL = home.path() / "temp";
    const auto file = home.path() / "mount/late.png";
    test_support::writeFile(file, "content");
    SlowDisk disk(file.parent_path());
    auto view = std::make_unique<ContentView>();
    {
        const auto measured = view->fileProcessingQueue.addNotifier([&] {
            view->patience = 200ms;
            disk.setDelay(500ms);
        });
        view->attach({file});
        ASSERT_TRUE(runMainQueueUntil([&] { return !view->fileProcessingQueue.value().empty(); }));
    }
    view.reset();
    const auto isCopying = [] {
        return std::ranges::any_of(fs::directory_iterator("/proc/self/task"), [](const auto &thread) {
            return test_support::readFile(thread.path() / "comm") == "Attachments\n";
        });
    };
    ASSERT_TRUE(runMainQueueUntil(isCopying));
    ASSERT_TRUE(runMainQueueUntil([&] { return !isCopying(); }, 60s));
    EXPECT_FALSE(fs::exists(*userFilesURL / "late.png"));
}

TEST_F(WindowTest, AFolderThatDoesNotAnswerCanBeLeft) {
    REQUIRE_SLOW_DISK();
    test_support::writeFile(home.path() / "mount/a.png", "content");
    test_support::writeFile(home.path() / "b.png", "content");
    FolderList list;
    list.list();
    ASSERT_TRUE(runMainQueueUntil([&] { return list.isListed.value(); }));
    EXPECT_EQ(list.entries.value().size(), 2);
    const SlowDisk disk(home.path() / "mount");
    disk.stopAnswering();
    list.open(FolderList::encoded(home.path() / "mount"));
    runMainQueueFor(300ms);
    EXPECT_FALSE(list.isListed);
    list.openParent();
    ASSERT_TRUE(runMainQueueUntil([&] { return list.isListed.value(); }));
}

// The product's preferences are on the slow disk.
TEST_F(RunTest, AStartDoesNotStopTheWindowAndIsOneHoweverOftenTheButtonIsPressed) {
    REQUIRE_SLOW_DISK();
    install();
    SlowDisk disk(*UtilityFunctions::userLibraryPrefURL);
    const Turns turns(disk);
    disk.setDelayUntilAnswered(30ms);
    press();
    press();
    ASSERT_TRUE(runMainQueueUntil([this] { return view.isRunning.value(); }));
    EXPECT_TRUE(view.primaryButtonDisabled && hasCaption("Start diagnostics"));
    press();
    waitUntil("Stop diagnostics");
    EXPECT_FALSE(view.isRunning || view.primaryButtonDisabled);
    disk.setDelay({});
    EXPECT_EQ(disk.unanswered(), 0);
    EXPECT_EQ(disk.operationsOf(::getpid()), 0);
    const auto lines = record.takeLog();
    EXPECT_EQ(std::ranges::count(lines, "INFO: Start diagnostics pressed. Advanced Log Checkbox: No"), 1);
    EXPECT_THAT(lines, testing::Contains(testing::StartsWith("INFO: PropertyList URL: ")));
}

// The product itself is on the slow disk.
TEST_F(RunTest, AStartThatTheProgramEndsDoesNotSwitchTheLoggingOn) {
    REQUIRE_SLOW_DISK();
    const auto preferences = install().preferences;
    const QByteArray before = test_support::readFile(preferences);
    SlowDisk disk(home.path() / "Applications");
    disk.setDelay(1s);
    press();
    ASSERT_TRUE(runMainQueueUntil([this] {
        return test_support::logLines(systemLog()).contains(u"INFO: LumadocRunningInstance.isEmpty"_qs);
    }));
    EXPECT_FALSE(ProcessExecution::stop());
    disk.setDelay({});
    ASSERT_TRUE(runMainQueueUntil(ProcessExecution::stop));
    EXPECT_EQ(test_support::readFile(preferences), before);
}

} // namespace
