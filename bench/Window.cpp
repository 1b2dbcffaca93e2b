// The window: the time from the start of the process to its first frame, in turn with a bare window of Qt
// Quick; the peak memory of the waiting window; and the longest time in which the main thread serves no event
// while it captures, packs and uploads.
//
// The last of these is measured by a second process of this program in another bundle, with the argument
// "--gaps".
#include "Figures.h"
#include "discovery/MainQueue.h"
#include "discovery/RunState.h"
#include "logging/Logging.h"
#include "packaging/UploadAPI.h"
#include "platform/Bundle.h"
#include "platform/posix/Process.h"
#include "sample_product/SampleProduct.h"
#include "support_service/SupportService.h"
#include "test_support/Bus.h"
#include "test_support/EventLoop.h"
#include "test_support/ScratchBundle.h"
#include "test_support/ScratchHome.h"
#include "test_support/Screen.h"
#include "ui/WindowScene.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QTimer>
#include <cstring>
#include <sys/stat.h>

namespace fs = std::filesystem;
using namespace test_support;

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

// ---- The main thread's gaps, in the process that has the window.

class GapWatch {
public:
    GapWatch() {
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, [this] { tick(); });
        m_timer.start(1);
    }

    /// The longest gap since the last call.
    double take() {
        tick();
        return std::exchange(m_longest, 0.0);
    }

private:
    void tick() {
        const Milliseconds gap = Clock::now() - std::exchange(m_last, Clock::now());
        m_longest = std::max(m_longest, gap.count());
    }

    QTimer m_timer;
    Clock::time_point m_last = Clock::now();
    double m_longest = 0;
};

void waitFor(const std::function<bool()> &condition) {
    require(runMainQueueUntil(condition, std::chrono::minutes(3)), "the window does not get on");
}

int measureGaps(int argumentCount, char **arguments) {
    platform::prepareProcess();
    const auto application = makeWindowApplication(argumentCount, arguments);
    Logger::setupLogFile();
    require(UtilityFunctions::CreateOutputDirectories(), "no output folders");
    Logger::changeLogFileLocation();
    UtilityFunctions::isOutputDirectoryCreated = true;
    WindowScene scene;
    scene.open();
    waitFor([] { return !QGuiApplication::topLevelWindows().isEmpty(); });
    ContentView *view = &scene.view();
    const auto has = [view](const QString &caption) {
        return [view, caption] { return view->startButtonLabel.value() == caption; };
    };
    GapWatch watch;
    runMainQueueFor(std::chrono::seconds(1));
    const auto press = [view] { view->primaryButtonPressed(); };
    // Into the box that has the keyboard.
    const auto paste = [] {
        QKeyEvent key(QEvent::KeyPress, Qt::Key_V, Qt::ControlModifier);
        QGuiApplication::sendEvent(QGuiApplication::topLevelWindows().front(), &key);
    };
    const auto measure = [&](const char *phase, const std::function<void()> &begin,
                             const std::function<bool()> &isOver) {
        watch.take();
        begin();
        waitFor(isOver);
        // What a step leaves to later turns counts with it: sections that come up, the next frame. An upload
        // has begun by now and counts by itself.
        if (!has(Texts::stopUpload)())
            runMainQueueFor(std::chrono::milliseconds(300));
        print(std::string("  ") + phase + ", longest gap", watch.take(), "ms", 25);
    };
    measure("start", press, has(Texts::stopDiagnostics));
    measure("capture", press, has(Texts::shareLogs));
    QGuiApplication::clipboard()->setText(QStringLiteral("pasted ").repeated(750'000));
    measure("paste of 5 MB", paste, [view] { return view->feedbackText.value().size() == 2000; });
    view->changeFeedback(QStringLiteral("Measured"));
    measure("compression", press, has(Texts::stopUpload));
    measure(
        "upload", [] {}, [&] { return !has(Texts::stopUpload)(); });
    require(view->startButtonLabel.value() == Texts::close, "the upload failed");
    return 0;
}

// ---- From outside.

struct Surroundings {
    Surroundings()
        : bundle(PROGRAM_BUNDLE, folder.path())
        , gapsBundle(GAPS_BUNDLE, folder.path()) {
        for (const ScratchBundle *copy : {&bundle, &gapsBundle})
            copy->setText("LumamonSupportHost", service.host());
        bundle.setText("CFBundleIdentifier", "com.brennic.LumadocDiagnostics.Bench");
    }

    ProgramOptions program(const fs::path &path, const std::vector<std::string> &arguments = {}) const {
        return {.program = path,
                .arguments = arguments,
                .variables = {{"SSL_CERT_FILE", service.certificateFile().native()},
                              {"DISPLAY", display.name()},
                              {"DBUS_SESSION_BUS_ADDRESS", bus.address()},
                              {"WAYLAND_DISPLAY", std::nullopt}}};
    }

    ScratchHome home;
    ScratchFolder folder;
    support_service::SupportService service;
    Xvfb display;
    PrivateBus bus;
    Screen screen{display.name()};
    ScratchBundle bundle;
    ScratchBundle gapsBundle;
};

// A place that both windows draw in their background and that is black without them.
bool isDrawn(const Surroundings &around) {
    return around.screen.pixel(6, 6) != 0;
}

double firstFrame(const Surroundings &around, const fs::path &path) {
    std::optional<ProgramRun> run;
    const double seconds = secondsOf([&] {
        run.emplace(around.program(path));
        require(waitUntil([&] { return isDrawn(around); }),
                path.filename().native() + " draws nothing: " + run->standardError());
    });
    run.reset();
    require(waitUntil([&] { return !isDrawn(around); }), "the display does not get empty");
    return 1000 * seconds;
}

void measureFirstFrame(const Surroundings &around) {
    const auto frames = inTurn(21, {[&] { return firstFrame(around, around.bundle.executable()); },
                                    [&] { return firstFrame(around, BARE_WINDOW); }});
    print("first frame after process start", median(frames[0]), "ms", 200);
    print("first frame of a bare window", median(frames[1]), "ms");
    print("the one to the other", median(frames[0]) / median(frames[1]), "", 1.4);
}

void measureMemory(const Surroundings &around) {
    ProgramRun run(around.program(around.bundle.executable()));
    waitUntil([&] { return isDrawn(around); });
    std::this_thread::sleep_for(std::chrono::seconds(2));
    print("peak memory of the window that waits", peakMemory(run.processId()), "MiB", 52);
}

void measureGapsIn(const Surroundings &around) {
    const std::uint64_t treeBytes = static_cast<std::uint64_t>(amount(60)) << 20;
    sample_product::makeSampleProduct(around.home.path(), {.logBytes = treeBytes, .incompressible = true});
    std::printf("the main thread without an event, with 60 MiB of logs:\n");
    std::fflush(stdout);
    ProgramRun run(around.program(around.gapsBundle.executable(), {"--gaps"}));
    const auto end = run.waitForEnd(std::chrono::minutes(5));
    std::printf("%s", run.standardOutput().c_str());
    require(end == exited(0), "the measurement of gaps failed: " + run.standardError());
}

} // namespace

int main(int argumentCount, char **arguments) {
    if (argumentCount > 1 && std::strcmp(arguments[1], "--gaps") == 0)
        return measureGaps(argumentCount, arguments);
    ::umask(077);
    test_support::forgetTheMachinesSettings();
    const Surroundings around;
    measureFirstFrame(around);
    measureMemory(around);
    measureGapsIn(around);
}
