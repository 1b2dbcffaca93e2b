// The window on a disk that takes its time: whatever the user has it do, it goes on answering a screen
// reader.
#include "test_support/SlowDisk.h"
#include "tests/WindowRun.h"

#include <atomic>

using namespace std::chrono_literals;
using namespace test_support;
using std::chrono::milliseconds;

namespace {

// Asks the window for a property over the bus, again and again, as a screen reader does.
class Listening {
public:
    Listening(const std::string &bus, Control window, pid_t program)
        : m_ask(
              [this, bus, window = std::move(window)](const std::stop_token &end) { ask(bus, window, end); })
        , m_watch([this, program](const std::stop_token &end) { watch(program, end); }) {}

    struct Longest {
        /// By the clock: also what the machine's other work takes.
        milliseconds answer;
        /// In which the program's main thread meanwhile slept, waiting for something else than its events.
        milliseconds blocked;
    };
    /// Since the last call.
    Longest take() {
        return {milliseconds(m_longest.exchange(0)), milliseconds(m_longestBlocked.exchange(0))};
    }

private:
    void ask(const std::string &bus, const Control &window, const std::stop_token &end) {
        const BusClient client(bus);
        while (!end.stop_requested()) {
            const auto begin = std::chrono::steady_clock::now();
            m_blocked = 0;
            const auto answer = client.call(window.service, window.path, "org.freedesktop.DBus.Properties",
                                            "Get", "ss", "org.a11y.atspi.Accessible", "ChildCount");
            EXPECT_TRUE(answer);
            const auto took = std::chrono::steady_clock::now() - begin;
            m_longest = std::max<long>(m_longest, std::chrono::duration_cast<milliseconds>(took).count());
            m_longestBlocked = std::max<long>(m_longestBlocked, m_blocked);
            std::this_thread::sleep_for(1ms);
        }
    }

    // Counted in looks of a millisecond, since a busy machine keeps the answer as well.
    void watch(pid_t program, const std::stop_token &end) {
        while (!end.stop_requested()) {
            std::this_thread::sleep_for(1ms);
            if (isHeldUp(program))
                ++m_blocked;
        }
    }

    std::atomic<long> m_longest = 0;
    std::atomic<long> m_blocked = 0;
    std::atomic<long> m_longestBlocked = 0;
    std::jthread m_ask;
    std::jthread m_watch;
};

// The product, its settings and logs, the workspace and what is attached are on slow disks.
class WindowDisk : public WindowRun {
protected:
    // What the user has the window do is one phase, whose first operations on each disk take 0.3 s.
    void expectAnswersDuring(const char *phase, const std::function<void()> &work) {
        const auto setDelay = [this](milliseconds delay, unsigned operations) {
            for (const auto &disk : m_disks)
                disk->setDelay(delay, operations);
        };
        const int before = ownOperations();
        m_listening->take();
        setDelay(300ms, 8);
        work();
        setDelay(0ms, 0);
        const auto [answer, blocked] = m_listening->take();
        RecordProperty(phase, std::to_string(answer.count()) + " ms");
        EXPECT_LT(blocked, 100ms) << phase << ", of an answer after " << answer.count() << " ms";
        // Whichever of the operations is slow.
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
        m_listening.emplace(bus.address(), window().find("frame", WindowDriver::title),
                            window().program().processId());
    }
    void closeAtOnce() {
        m_listening.reset();
        closeAndExpectTheEnd();
    }

private:
    std::vector<std::unique_ptr<SlowDisk>> m_disks;
    std::optional<Listening> m_listening;
};

} // namespace

TEST_F(WindowDisk, AScreenReaderIsAnsweredWhileTheDiskIsSlow) {
    REQUIRE_SLOW_DISK();
    service.setBehaviour({.status = 500}, 1);
    service.setBehaviour({.stopReadingAfterBytes = 1000}, 1);
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
        window().click("check box", "Pictures/");
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
    expectAnswersDuring("share, refused", [&] {
        press("Share logs");
        waitForText("Error sharing logs.");
    });
    expectAnswersDuring("share, stopped", [&] {
        press("Share logs");
        press("Stop upload");
        waitForText("Upload cancelled.");
    });
    expectAnswersDuring("share, sent", [&] {
        press("Share logs");
        window().waitForFocus("push button", "Close");
    });
    // Such a disk keeps a file that is removed while it is open, and with it the folder.
    EXPECT_EQ(namesIn("Output"), std::vector<std::string>());
    closeAtOnce();
}
