// The window on a disk that takes its time: whatever the user has it do, it goes on answering a screen
// reader.
#include "test_support/SlowDisk.h"
#include "tests/WindowRun.h"

#include <atomic>

using namespace std::chrono_literals;
using namespace test_support;
using std::chrono::milliseconds;

namespace {

using Disks = std::vector<std::unique_ptr<SlowDisk>>;

// Asks the window for a property over the bus, again and again, as a screen reader does, and lets the disks
// go on with each answer.
class Listening {
public:
    Listening(const std::string &bus, const Control &window, const Disks &disks)
        : m_ask([this, bus, window, &disks](const std::stop_token &end) {
            const BusClient client(bus);
            while (!end.stop_requested()) {
                const auto begin = std::chrono::steady_clock::now();
                EXPECT_TRUE(client.call(window.service, window.path, "org.freedesktop.DBus.Properties", "Get",
                                        "ss", "org.a11y.atspi.Accessible", "ChildCount"));
                const auto took = std::chrono::steady_clock::now() - begin;
                m_longest = std::max<long>(m_longest, std::chrono::duration_cast<milliseconds>(took).count());
                for (const auto &disk : disks)
                    disk->answer();
                std::this_thread::sleep_for(1ms);
            }
        }) {}

    /// How long an answer took since the last call, at most: what the machine's other work takes as well.
    milliseconds takeLongest() { return milliseconds(m_longest.exchange(0)); }

private:
    std::atomic<long> m_longest = 0;
    std::jthread m_ask;
};

// The product, its settings and logs, the workspace and what is attached are on slow disks.
class WindowDisk : public WindowRun {
protected:
    // What the user has the window do is one phase, whose first operations on each disk take their time.
    void expectAnswersDuring(const char *phase, const std::function<void()> &work) {
        const int before = ownOperations();
        m_listening->takeLongest();
        for (const auto &disk : m_disks)
            disk->setDelayUntilAnswered(50ms, 48);
        work();
        for (const auto &disk : m_disks) {
            disk->setDelay({});
            EXPECT_EQ(disk->unanswered(), 0) << phase;
        }
        RecordProperty(phase, std::to_string(m_listening->takeLongest().count()) + " ms");
        // Whichever of the operations are slow.
        EXPECT_EQ(ownOperations() - before, 0) << phase << ": asked of the disk by the main thread";
    }
    // Those of the program's main thread.
    int ownOperations() {
        int count = 0;
        for (const auto &disk : m_disks)
            count += disk->operationsOf(window().program().processId());
        return count;
    }
    void openOnSlowDisks() {
        install();
        for (const char *name : {"one.png", "two.png"})
            writeFile(home.path() / "Pictures" / name, "content");
        for (const char *folder : {".local", "Applications", "Pictures"})
            m_disks.push_back(std::make_unique<SlowDisk>(home.path() / folder));
        open();
        m_listening.emplace(bus.address(), window().find("frame", WindowDriver::title), m_disks);
    }
    void closeAtOnce() {
        m_listening.reset();
        closeAndExpectTheEnd();
    }

private:
    Disks m_disks;
    std::optional<Listening> m_listening;
};

} // namespace

TEST_F(WindowDisk, AScreenReaderIsAnsweredWhileTheDiskIsSlow) {
    REQUIRE_SLOW_DISK();
    expectUploadError("1");
    expectUploadError("-999");
    openOnSlowDisks();
    const std::string remove = "Remove attached files";
    expectAnswersDuring("start", [&] {
        press("Start diagnostics");
        window().findEnabled("push button", "Stop diagnostics");
    });
    expectAnswersDuring("stop", [&] {
        press("Stop diagnostics");
        window().waitForFocus("text", descriptionName);
    });
    expectAnswersDuring("attach", [&] {
        window().click("push button", attachName);
        window().click("push button", "Pictures/");
        std::this_thread::sleep_for(doubleClick);
        pickShown({"one.png", "two.png"});
        waitForText("2 file(s) attached");
    });
    expectAnswersDuring("remove", [&] {
        window().click("push button", remove);
        window().waitUntilGone("push button", remove);
    });
    window().clickAt(window().find("text", descriptionName));
    describe("The disk is slow");
    service.setBehaviour({.status = 500});
    expectAnswersDuring("share, refused", [&] {
        press("Share logs");
        waitForText("Error sharing logs.");
    });
    service.setBehaviour({.stopReadingAfterBytes = 1000});
    expectAnswersDuring("share, stopped", [&] {
        press("Share logs");
        press("Stop upload");
        waitForText("Upload cancelled.");
    });
    service.setBehaviour({});
    expectAnswersDuring("share, sent", [&] {
        press("Share logs");
        window().waitForFocus("push button", "Close");
    });
    // Such a disk keeps a file that is removed while it is open, and with it the folder.
    EXPECT_EQ(namesIn("Output"), std::vector<std::string>());
    closeAtOnce();
}
