// Files that the user attaches: picked, measured, copied one in each turn of the main thread, counted and
// removed.
#include "ui/ContentView.h"

#include "collection/CopyOperations.h"
#include "discovery/MainQueue.h"
#include "discovery/Workspace.h"
#include "logging/Logging.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Text.h"

#include <QDir>
#include <QFile>
#include <QPointer>
#include <QUrl>

namespace fs = std::filesystem;
using UtilityFunctions::userFilesURL;

namespace {

constexpr qint64 limitBytes = 10'485'760;

const QString missingFolder = QStringLiteral("userFilesURL is nil");

// In the order in which a panel offers them.
const QStringList attachableExtensions =
    QStringLiteral("pdf jpg jpeg png doc docx xls xlsx ppt pptx").split(u' ');

// A panel offers only files of these kinds, but may let the user type any name.
std::vector<fs::path> attachable(std::vector<fs::path> files) {
    std::erase_if(files, [](const fs::path &file) {
        const auto extension = platform::displayText(file.extension()).mid(1);
        return !attachableExtensions.contains(extension, Qt::CaseInsensitive);
    });
    return files;
}

// Why the file cannot be attached, if there is a reason. A link cannot: under a harmless name it may lead to
// a file that the user never meant to send.
std::error_code obstacleOf(const fs::path &file) {
    std::error_code error;
    std::uint64_t sizeBytes = 0;
    const auto attributes = platform::fileAttributes(file, error);
    if (attributes && attributes->kind == platform::FileKind::link)
        return std::make_error_code(std::errc::too_many_symbolic_link_levels);
    if (attributes)
        platform::openRegularFile(file, sizeBytes, error);
    return error;
}

// None on an error.
std::vector<fs::path> entriesOf(const fs::path &folder, std::error_code &error) {
    std::vector<fs::path> entries;
    fs::directory_iterator entry(folder, error);
    for (const fs::directory_iterator end; !error && entry != end; entry.increment(error))
        entries.push_back(entry->path());
    if (error)
        entries.clear();
    return entries;
}

// A file without a size counts nothing.
qint64 bytesOf(const std::vector<fs::path> &files) {
    qint64 sum = 0;
    std::error_code error;
    for (const fs::path &file : files) {
        if (const auto attributes = platform::fileAttributes(file, error))
            sum += static_cast<qint64>(attributes->sizeBytes);
    }
    return sum;
}

// Without a workspace there is no folder for attached files.
bool hasFolder() {
    if (!userFilesURL)
        Logger::logError(missingFolder);
    return userFilesURL.has_value();
}

} // namespace

void ContentView::presentFilePicker() {
    if (isFilePickerPresented)
        return;
    isFilePickerPresented = true;
    m_fileChooser = std::make_unique<platform::FileChooser>(
        QStringLiteral("Attach files"), QStringLiteral("Pictures and documents"), attachableExtensions,
        [this](const platform::FileChooser::Files &files) {
            if (files)
                filesPicked(attachable(*files));
            else
                isFilePanelVisible = true;
        });
}

QStringList ContentView::filePanelFilters() const {
    return QStringLiteral("*.%1").arg(attachableExtensions.join(QStringLiteral(" *."))).split(u' ');
}

QUrl ContentView::filePanelFolder() const {
    return QUrl::fromLocalFile(QDir::homePath());
}

void ContentView::closeFilePanel(const QList<QUrl> &picked) {
    isFilePanelVisible = false;
    std::vector<fs::path> files;
    for (const QUrl &url : picked)
        files.emplace_back(QFile::encodeName(url.toLocalFile()).toStdString());
    filesPicked(attachable(std::move(files)));
}

void ContentView::filesPicked(const PickedFiles &picked) {
    isFilePickerPresented = false;
    if (const auto *failure = std::get_if<QString>(&picked)) {
        Logger::logError(QStringLiteral("File selection error: ") + *failure);
        return;
    }
    // What is picked after the archive was started would never be sent.
    const auto &files = std::get<std::vector<fs::path>>(picked);
    if (!files.empty() && !isFormFrozen)
        attach(files);
}

void ContentView::attach(const std::vector<fs::path> &files) {
    if (!areFilesWithinSizeLimit(files, userFilesURL, limitBytes)) {
        activeAlert = ActiveAlert::fileSize;
        showAlert = true;
        return;
    }
    auto queue = fileProcessingQueue.value();
    queue.insert(queue.end(), files.begin(), files.end());
    fileProcessingQueue = queue;
    processNextFile();
}

bool ContentView::areFilesWithinSizeLimit(const std::vector<fs::path> &fileURLs,
                                          const std::optional<fs::path> &destinationDirectory, qint64 limit) {
    if (!destinationDirectory) {
        Logger::logError(missingFolder);
        return false;
    }
    std::error_code error;
    const qint64 existing = bytesOf(entriesOf(*destinationDirectory, error));
    const qint64 selected = bytesOf(fileURLs);
    Logger::logInfo(QStringLiteral("Currently user selected files size: %1, existing user files size: %2, "
                                   "limit in bytes: %3")
                        .arg(selected)
                        .arg(existing)
                        .arg(limit));
    return selected + existing <= limit;
}

void ContentView::processNextFile() {
    m_isCopyScheduled = false;
    if (!hasFolder())
        return;
    if (fileProcessingQueue.value().empty()) {
        updateFileCount();
        return;
    }
    const fs::path file = fileProcessingQueue.value().front();
    std::error_code error;
    if (fs::exists(fs::symlink_status(*userFilesURL / file.filename(), error))) {
        currentFileToProcess = file;
        fileExistsAlertMessage = QStringLiteral("File %1 already exists. Do you want to replace it?")
                                     .arg(platform::displayText(file.filename()));
        activeAlert = ActiveAlert::replaceFile;
        showAlert = true;
        return;
    }
    copyAttachment(file);
    dropFirstInQueue();
    continueCopying(std::chrono::milliseconds(0));
}

void ContentView::answerAlert(bool confirmed) {
    showAlert = false;
    if (confirmed && activeAlert == ActiveAlert::replaceFile)
        replaceFileAndContinue();
}

void ContentView::replaceFileAndContinue() {
    if (currentFileToProcess.value() && userFilesURL)
        copyAttachment(*currentFileToProcess.value());
    else
        Logger::logError(missingFolder);
    dropFirstInQueue();
    currentFileToProcess = std::nullopt;
    // The alert must close before the next one may open.
    continueCopying(std::chrono::milliseconds(500));
}

// Copied beside the attached files and renamed when it is whole: a folder or a pipe under a picked name, a
// file that can no longer be read or a full disk must not destroy an attached file of that name.
void ContentView::copyAttachment(const fs::path &file) {
    std::error_code error = obstacleOf(file);
    std::error_code ignored;
    fs::path incoming = *userFilesURL;
    incoming += ".incoming";
    if (!error)
        UtilityFunctions::CopyFiles(file.parent_path(), incoming, file.filename());
    if (!error && Workspace::holds(incoming / file.filename()))
        Workspace::move(incoming / file.filename(), *userFilesURL / file.filename(), error);
    if (error)
        Logger::logError(QStringLiteral("Error while copying file: ") + platform::description(error));
    Workspace::remove(incoming, ignored);
}

void ContentView::dropFirstInQueue() {
    auto queue = fileProcessingQueue.value();
    if (!queue.empty())
        queue.erase(queue.begin());
    fileProcessingQueue = queue;
}

void ContentView::continueCopying(std::chrono::milliseconds delay) {
    m_isCopyScheduled = true;
    onMainQueueAfter(delay, [view = QPointer(this)] {
        if (view && view->m_isCopyScheduled)
            view->processNextFile();
    });
}

void ContentView::finishCopying() {
    while (m_isCopyScheduled)
        processNextFile();
}

void ContentView::updateFileCount() {
    if (!hasFolder())
        return;
    std::error_code error;
    const auto count = static_cast<qint64>(entriesOf(*userFilesURL, error).size());
    if (error == std::errc::no_such_file_or_directory) {
        filesCountInDestination = 0;
    } else if (error) {
        Logger::logError(QStringLiteral("Error reading contents of the destination directory: ") +
                         platform::description(error));
    } else {
        filesCountInDestination = count;
        Logger::logInfo(QStringLiteral("Total user files attached: ") + QString::number(count));
    }
}

void ContentView::removeAllUserFiles() {
    if (!hasFolder())
        return;
    std::error_code error;
    if (!Workspace::remove(*userFilesURL, error) && !error)
        error = std::make_error_code(std::errc::no_such_file_or_directory);
    if (error)
        Logger::logError(QStringLiteral("Error listing files in destination directory: ") +
                         platform::description(error));
    else
        Logger::logInfo(QStringLiteral("UserFiles directory removed with %1 files.")
                            .arg(filesCountInDestination.value()));
    updateFileCount();
}
