#include "ui/Attachments.h"

#include "collection/CopyOperations.h"
#include "discovery/MainQueue.h"
#include "discovery/ProductDiscovery.h"
#include "discovery/Workspace.h"
#include "logging/Logging.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Text.h"

#include <QDir>
#include <QFile>
#include <QPointer>
#include <algorithm>

namespace fs = std::filesystem;
using UtilityFunctions::userFilesURL;

namespace {

using Files = Attachments::Files;

constexpr qint64 limitBytes = 10'485'760;

const QString missingFolder = QStringLiteral("userFilesURL is nil");

// In the order in which a panel offers them.
const QStringList attachableExtensions =
    QStringLiteral("pdf jpg jpeg png doc docx xls xlsx ppt pptx").split(u' ');

// Without a workspace there is no folder for attached files.
bool hasFolder() {
    if (!userFilesURL)
        Logger::logError(missingFolder);
    return userFilesURL.has_value();
}

// A line for the user.
QString leftOut(const fs::path &file, const QString &reason) {
    QString name = platform::displayText(file.filename());
    if (name.size() > 64)
        name = name.first(40) + u'…' + name.last(20);
    return name + QStringLiteral(": ") + reason;
}

QString reasonOf(const std::error_code &error) {
    if (error == std::errc::is_a_directory)
        return QStringLiteral("Folders cannot be attached");
    if (error == std::errc::invalid_argument)
        return QStringLiteral("Pipes and devices cannot be attached");
    return platform::description(error);
}

// --- What is asked of the disk, on other threads ---

Files filesIn(const fs::path &folder, std::error_code &error) {
    Files files;
    if (const auto opened = Workspace::open(folder, error)) {
        for (const auto &entry : platform::entriesOf(opened, error))
            files.push_back(folder / entry.name);
    }
    return files;
}

// A file without a size counts nothing.
qint64 bytesOf(const Files &files) {
    qint64 sum = 0;
    for (const fs::path &file : files) {
        std::error_code error;
        const auto bytes = fs::file_size(file, error);
        sum += error ? 0 : static_cast<qint64>(bytes);
    }
    return sum;
}

struct Pick {
    Files files;
    QStringList leftOut;
    bool isWithinLimit = true;
};

// A panel offers only files of some kinds, but may let the user type any name. A link stands for the file
// that it names: that is attached, under its own name, and so has to be of these kinds.
Pick measured(const Files &picked, const Files &waiting, const std::optional<fs::path> &folder) {
    Pick pick;
    std::error_code error;
    for (const fs::path &each : picked) {
        fs::path file = fs::is_symlink(each, error) ? fs::canonical(each, error) : each;
        if (file.empty())
            file = each;
        if (attachableExtensions.contains(platform::displayText(file.extension()).mid(1),
                                          Qt::CaseInsensitive))
            pick.files.push_back(file);
        else
            pick.leftOut += leftOut(each, QStringLiteral("Only pictures and documents can be attached"));
    }
    // What waits can still be attached, perhaps in the place of another file.
    qint64 waitingBytes = 0;
    for (const fs::path &file : folder ? waiting : Files())
        waitingBytes += std::max<qint64>(0, bytesOf({file}) - bytesOf({*folder / file.filename()}));
    pick.isWithinLimit = pick.files.empty() ||
                         Attachments::areFilesWithinSizeLimit(pick.files, folder, limitBytes - waitingBytes);
    return pick;
}

// What kept the file from being attached; none when the user has to decide first.
using Copied = std::optional<std::error_code>;

// The file is copied beside the attached ones and renamed when it is whole: one that can no longer be read or
// a full disk must not destroy an attached file of that name.
Copied copyInto(const fs::path &folder, const fs::path &file, Attachments::Clash clash) {
    std::error_code obstacle;
    std::error_code error;
    std::uint64_t sizeBytes = 0;
    fs::path incoming = folder;
    incoming += ".incoming";
    if (platform::openRegularFile(file, sizeBytes, obstacle)) {
        if (clash == Attachments::Clash::asks &&
            fs::exists(fs::symlink_status(folder / file.filename(), error)))
            return std::nullopt;
        error = UtilityFunctions::CopyFiles(file.parent_path(), incoming, file.filename());
        if (!error)
            Workspace::move(incoming / file.filename(), folder / file.filename(), obstacle);
        std::error_code ignored;
        Workspace::remove(incoming, ignored);
    }
    if (obstacle)
        Logger::logError(QStringLiteral("Error while copying file: ") + platform::description(obstacle));
    return obstacle ? obstacle : error;
}

// None when that cannot be found out.
std::optional<qint64> countIn(const fs::path &folder) {
    std::error_code error;
    const auto count = static_cast<qint64>(filesIn(folder, error).size());
    if (error == std::errc::no_such_file_or_directory)
        return 0;
    if (error) {
        Logger::logError(QStringLiteral("Error reading contents of the destination directory: ") +
                         platform::description(error));
        return std::nullopt;
    }
    Logger::logInfo(QStringLiteral("Total user files attached: ") + QString::number(count));
    return count;
}

bool removeAll(const fs::path &folder, qint64 count) {
    std::error_code error;
    if (!Workspace::remove(folder, error) && !error)
        error = std::make_error_code(std::errc::no_such_file_or_directory);
    if (error)
        Logger::logError(QStringLiteral("Error listing files in destination directory: ") +
                         platform::description(error));
    else
        Logger::logInfo(QStringLiteral("UserFiles directory removed with %1 files.").arg(count));
    return !error;
}

} // namespace

Attachments::Attachments(QObject *parent)
    : ContentViewState(parent) {
    attachedFilesLabel.setBinding([this] {
        const qint64 count = filesCountInDestination;
        return count > 0 ? QStringLiteral("%1 file(s) attached").arg(count) : QString();
    });
}

// `request` is called with the files that wait at that time; `done` takes its answer.
template <typename Request, typename Done>
void Attachments::askDisk(Request request, Done done) {
    m_requests.push_back([this, request, done] {
        const auto ask = [request, waiting = fileProcessingQueue.value()] { return request(waiting); };
        besideMainQueue("Attachments", ask, [asked = QPointer(this), done](const auto &answer) {
            if (!asked)
                return;
            done(answer);
            asked->m_requests.pop_front();
            if (asked->m_requests.empty())
                asked->settle();
            else
                asked->m_requests.front()();
        });
    });
    isAttaching = true;
    if (m_requests.size() == 1)
        m_requests.front()();
}

// The disk has answered, or the user has. An alert that is up comes before what there is to tell.
void Attachments::settle() {
    isAttaching = m_isCopying || !m_requests.empty();
    if (isAttaching)
        return;
    const bool isUndisturbed = !showAlert && m_leftOut.isEmpty();
    if (!showAlert && !m_leftOut.isEmpty()) {
        constexpr qsizetype most = 6;
        const qsizetype more = m_leftOut.size() - most;
        QString message = QStringList(m_leftOut.mid(0, most)).join(u'\n');
        if (more > 0)
            message += QStringLiteral("\nand %1 more").arg(more);
        m_leftOut.clear();
        UtilityFunctions::displayAlert(QStringLiteral("Files Not Attached"), message, QStringLiteral("OK"));
    }
    if (const auto then = std::exchange(m_whenAttached, nullptr))
        then(isUndisturbed);
}

void Attachments::presentFilePicker() {
    if (isFilePickerPresented)
        return;
    isFilePickerPresented = true;
    m_fileChooser = std::make_unique<platform::FileChooser>(
        QStringLiteral("Attach files"), QStringLiteral("Pictures and documents"), attachableExtensions,
        [this](const platform::FileChooser::Files &files) {
            if (files)
                filesPicked(*files);
            else
                isFilePanelVisible = true;
        });
}

QStringList Attachments::filePanelFilters() const {
    return QStringLiteral("*.%1").arg(attachableExtensions.join(QStringLiteral(" *."))).split(u' ');
}

QUrl Attachments::filePanelFolder() const {
    return QUrl::fromLocalFile(QDir::homePath());
}

void Attachments::closeFilePanel(const QList<QUrl> &picked) {
    isFilePanelVisible = false;
    Files files;
    for (const QUrl &url : picked)
        files.emplace_back(QFile::encodeName(url.toLocalFile()).toStdString());
    filesPicked(files);
}

void Attachments::filesPicked(const PickedFiles &picked) {
    isFilePickerPresented = false;
    if (const auto *failure = std::get_if<QString>(&picked)) {
        Logger::logError(QStringLiteral("File selection error: ") + *failure);
        return;
    }
    const auto &files = std::get<Files>(picked);
    if (!UtilityFunctions::ShareButtonPressed) {
        if (!files.empty())
            attach(files);
        return;
    }
    for (const fs::path &file : files)
        m_leftOut += leftOut(file, QStringLiteral("The logs are already packed"));
    settle();
}

void Attachments::attach(const Files &files) {
    const auto measure = [files, folder = userFilesURL](const Files &waiting) {
        return measured(files, waiting, folder);
    };
    askDisk(measure, [this](const Pick &pick) {
        if (!pick.isWithinLimit) {
            showAlertOf(ActiveAlert::fileSize);
            return;
        }
        m_leftOut += pick.leftOut;
        if (pick.files.empty())
            return;
        auto queue = fileProcessingQueue.value();
        queue.insert(queue.end(), pick.files.begin(), pick.files.end());
        fileProcessingQueue = queue;
        processNextFile();
    });
}

bool Attachments::areFilesWithinSizeLimit(const Files &fileURLs,
                                          const std::optional<fs::path> &destinationDirectory, qint64 limit) {
    if (!destinationDirectory) {
        Logger::logError(missingFolder);
        return false;
    }
    std::error_code error;
    const qint64 existing = bytesOf(filesIn(*destinationDirectory, error));
    const qint64 selected = bytesOf(fileURLs);
    Logger::logInfo(QStringLiteral("Currently user selected files size: %1, existing user files size: %2, "
                                   "limit in bytes: %3")
                        .arg(selected)
                        .arg(existing)
                        .arg(limit));
    return selected + existing <= limit;
}

void Attachments::processNextFile() {
    if (m_isCopying || !hasFolder())
        return;
    if (fileProcessingQueue.value().empty())
        updateFileCount();
    else
        copy(fileProcessingQueue.value().front(), Clash::asks);
}

void Attachments::copy(const fs::path &file, Clash clash) {
    m_isCopying = true;
    const auto request = [=, folder = *userFilesURL](const Files &) { return copyInto(folder, file, clash); };
    askDisk(request, [=, this](const Copied &copied) {
        // Unless the user has removed all files meanwhile.
        if (!copied && !fileProcessingQueue.value().empty()) {
            m_isCopying = false;
            currentFileToProcess = file;
            fileExistsAlertMessage = QStringLiteral("File %1 already exists. Do you want to replace it?")
                                         .arg(platform::displayText(file.filename()));
            showAlertOf(ActiveAlert::replaceFile);
            return;
        }
        if (copied && *copied)
            m_leftOut += leftOut(file, reasonOf(*copied));
        else if (copied && clash == Clash::asks)
            filesCountInDestination = filesCountInDestination + 1;
        // The alert must close before the next one may open.
        dropFirstAndGoOn(std::chrono::milliseconds(clash == Clash::asks ? 0 : 500));
    });
}

void Attachments::dropFirstAndGoOn(std::chrono::milliseconds delay) {
    auto queue = fileProcessingQueue.value();
    if (!queue.empty())
        queue.erase(queue.begin());
    fileProcessingQueue = queue;
    currentFileToProcess = std::nullopt;
    m_isCopying = true;
    onMainQueueAfter(delay, [copying = QPointer(this)] {
        if (!copying)
            return;
        copying->m_isCopying = false;
        copying->processNextFile();
        copying->settle();
    });
    settle();
}

void Attachments::showAlertOf(ActiveAlert kind) {
    activeAlert = kind;
    showAlert = true;
}

void Attachments::answerAlert(bool confirmed) {
    showAlert = false;
    const auto &queue = fileProcessingQueue.value();
    if (activeAlert == ActiveAlert::replaceFile && confirmed) {
        replaceFileAndContinue();
    } else if (activeAlert == ActiveAlert::replaceFile && !queue.empty()) {
        for (auto file = queue.begin() + 1; file != queue.end(); ++file)
            m_leftOut += leftOut(*file, QStringLiteral("Waits until you attach more files"));
    }
    settle();
}

void Attachments::replaceFileAndContinue() {
    if (const auto file = currentFileToProcess.value(); file && userFilesURL) {
        copy(*file, Clash::replaces);
    } else {
        Logger::logError(missingFolder);
        dropFirstAndGoOn(std::chrono::milliseconds(500));
    }
}

void Attachments::updateFileCount() {
    if (!hasFolder())
        return;
    const auto count = [folder = *userFilesURL](const Files &) { return countIn(folder); };
    askDisk(count, [this](const std::optional<qint64> &files) {
        filesCountInDestination = files.value_or(filesCountInDestination);
    });
}

void Attachments::removeAllUserFiles() {
    if (!hasFolder())
        return;
    // A file that the user did not want to replace another one would no longer meet that.
    fileProcessingQueue = Files();
    currentFileToProcess = std::nullopt;
    const auto remove = [folder = *userFilesURL, count = filesCountInDestination.value()](const Files &) {
        return removeAll(folder, count);
    };
    askDisk(remove, [this](bool) { updateFileCount(); });
}
