#include "platform/FilePanel.h"

#include "discovery/RunState.h"
#include "ui/ContentView.h"
#include "ui/WindowTest.h"

#include <QFileDialog>
#include <QLineEdit>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test_support::runMainQueueFor;
using test_support::runMainQueueUntil;
using test_support::writeFile;
using testing::ElementsAre;

class FilePanelTest : public WindowTest {
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
    void type(const QString &names) {
        auto *dialog = panel();
        dialog->findChild<QLineEdit *>()->setText(names);
        static_cast<QDialog *>(dialog)->accept();
        runMainQueueFor(20ms);
    }
    void pick() {
        platform::pickFiles({QStringLiteral("pdf"), QStringLiteral("png")},
                            [this](const platform::PickedFiles &files) {
                                ++calls;
                                picked = files;
                            });
    }
    std::vector<fs::path> files() const { return std::get<std::vector<fs::path>>(picked); }

    int calls = 0;
    platform::PickedFiles picked;
};

TEST_F(FilePanelTest, OffersTheExtensionsAndSeveralFiles) {
    pick();
    EXPECT_EQ(calls, 0);
    auto *dialog = panel();
    EXPECT_EQ(dialog->fileMode(), QFileDialog::ExistingFiles);
    EXPECT_EQ(dialog->nameFilters(), QStringList{QStringLiteral("Pictures and documents (*.pdf *.png)")});
    EXPECT_EQ(dialog->windowModality(), Qt::ApplicationModal);
    EXPECT_EQ(dialog->directory().path(), QString::fromStdString(home.path().native()));
    dialog->reject();
}

TEST_F(FilePanelTest, GivesWhatWasPicked) {
    writeFile(home.path() / "one.pdf", "1");
    writeFile(home.path() / "two.PNG", "2");
    pick();
    type(QStringLiteral("\"one.pdf\" \"two.PNG\""));
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(files(), ElementsAre(home.path() / "one.pdf", home.path() / "two.PNG"));
}

TEST_F(FilePanelTest, AFileOfAnotherKindThatWasTypedIsLeftOut) {
    writeFile(home.path() / "one.pdf", "1");
    writeFile(home.path() / "two.exe", "2");
    writeFile(home.path() / "pdf", "3");
    pick();
    type(QStringLiteral("\"one.pdf\" \"two.exe\""));
    EXPECT_THAT(files(), ElementsAre(home.path() / "one.pdf"));
}

TEST_F(FilePanelTest, ACancelledPanelGivesNothing) {
    pick();
    panel()->reject();
    runMainQueueFor(20ms);
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(files(), testing::IsEmpty());
}

TEST_F(FilePanelTest, ThePanelGoesWhenItIsClosed) {
    pick();
    const QPointer<QFileDialog> dialog = panel();
    dialog->reject();
    EXPECT_TRUE(runMainQueueUntil([&] { return dialog.isNull(); }));
}

// --- The window's attach button ---

TEST_F(FilePanelTest, TheWindowOpensOnePanelAndAttachesWhatIsPicked) {
    UtilityFunctions::userFilesURL = home.path() / "UserFiles";
    writeFile(home.path() / "one.pdf", "1");
    ContentView view;
    Recorder record(view, home.path());
    view.presentFilePicker();
    view.presentFilePicker();
    EXPECT_EQ(
        panel()->nameFilters(),
        QStringList{QStringLiteral(
            "Pictures and documents (*.pdf *.jpg *.jpeg *.png *.doc *.docx *.xls *.xlsx *.ppt *.pptx)")});
    EXPECT_THAT(record.take(), ElementsAre("isFilePickerPresented = true"));
    type(QStringLiteral("one.pdf"));
    EXPECT_THAT(
        record.take(),
        ElementsAre("isFilePickerPresented = false",
                    "INFO: Currently user selected files size: 1, existing user files size: 0, limit in "
                    "bytes: 10485760",
                    "fileProcessingQueue = [one.pdf]", "INFO: File copied successfully.",
                    "fileProcessingQueue = []", "filesCountInDestination = 1",
                    "INFO: Total user files attached: 1"));
}

TEST_F(FilePanelTest, ACancelledPanelAttachesNothingAndSaysNothing) {
    UtilityFunctions::userFilesURL = home.path() / "UserFiles";
    ContentView view;
    Recorder record(view, home.path());
    view.presentFilePicker();
    panel()->reject();
    runMainQueueFor(20ms);
    EXPECT_THAT(record.take(), ElementsAre("isFilePickerPresented = true", "isFilePickerPresented = false"));
    view.presentFilePicker();
    EXPECT_TRUE(view.isFilePickerPresented);
    panel()->reject();
    runMainQueueFor(20ms);
}

TEST_F(FilePanelTest, APanelWhoseWindowIsGoneAttachesNothing) {
    UtilityFunctions::userFilesURL = home.path() / "UserFiles";
    writeFile(home.path() / "one.pdf", "1");
    {
        ContentView gone;
        gone.presentFilePicker();
        panel();
    }
    type(QStringLiteral("one.pdf"));
    EXPECT_FALSE(fs::exists(home.path() / "UserFiles"));
}

} // namespace
