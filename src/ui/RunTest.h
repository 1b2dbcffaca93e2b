// What the tests of the window's flow share: the workspace of a launched program, a small product, a support
// service of the test's own, and the alerts that the user is shown.
#pragma once

#include "sample_product/RunningProduct.h"
#include "sample_product/SampleProduct.h"
#include "support_service/SupportService.h"
#include "test_support/Mounts.h"
#include "ui/ContentView.h"
#include "ui/WindowTest.h"

#include <optional>

/// A support service that this process takes for the maker's. Before the first look at the main bundle.
class OwnSupportService {
public:
    OwnSupportService();

    /// From now on nothing listens there.
    void stopService() { m_service.reset(); }
    support_service::SupportService &service() { return *m_service; }

private:
    test_support::ScratchFolder m_folder;
    std::optional<support_service::SupportService> m_service{std::in_place};
    test_support::ScopedEnvironment m_trust{"SSL_CERT_FILE", m_service->certificateFile().native()};
    test_support::ScopedEnvironment m_proxy{"https_proxy", std::nullopt};
    test_support::ScopedEnvironment m_otherProxy{"all_proxy", std::nullopt};
    std::unique_ptr<test_support::Mount> m_info;
};

class RunTest : public WindowTest {
protected:
    /// Does what the launch does before the window opens.
    RunTest();

    /// A product with 58 KiB of logs and three crash reports.
    sample_product::SampleProduct install(sample_product::SampleProductOptions options = {});

    void press() { view.primaryButtonPressed(); }
    /// Presses the button and waits for its next caption.
    void pressUntil(const char *caption);
    bool hasCaption(const char *caption) const;

    std::filesystem::path root() const { return home.library() / "LumadocDiagnostics"; }
    std::filesystem::path systemLog() const { return root() / "System/LumadocDiagnosticsDebugOutput.log"; }

    ContentView view;
    /// Title, message and button of each alert.
    std::vector<std::vector<std::string>> alerts;
    Recorder record{view, home.path()};

private:
    void showAlerts();
};

/// The window behind a capture, ready to share.
class ShareTest : protected OwnSupportService, public RunTest {
protected:
    void SetUp() override;

    /// Fills the output as a capture does, with so many bytes that cannot be made smaller, and leaves the
    /// window as it stands then.
    void capture(std::size_t bytes = 2000);
    void describe(const char *text = "It crashed");
    /// Until the upload that is under way has ended.
    void waitForUpload();
    std::filesystem::path runFolder() const;
    std::filesystem::path archive() const;
};
