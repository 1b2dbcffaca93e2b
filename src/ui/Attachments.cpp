#include "ui/Attachments.h"

#include "discovery/MainQueue.h"
#include "discovery/ProductDiscovery.h"
#include "logging/Logging.h"
#include "platform/posix/Text.h"
#include "ui/FolderList.h"

#include <QCoreApplication>
#include <QTimer>

namespace fs = std::filesystem;
using UtilityFunctions::temptempURL;
using UtilityFunctions::userFilesURL;

namespace {

using Copied = std::optional<std::error_code>;

const QString missingFolder = QStringLiteral("userFilesURL is nil");
const std::error_code noAnswer = std::make_error_code(std::errc::timed_out);

// Without a workspace there is no folder for attached files.
bool hasFolder() {
    if (!userFilesURL)
        Logger::logError(missingFolder);
    return userFilesURL.has_value();
}

} // namespace

Attachments::Attachments(QObject *parent)
    : ContentViewState(parent) {
    attachedFilesLabel.setBinding([this] {
        const qint64 count = filesCountInDestination;
        return count > 0 ? QStringLiteral("%1 file(s) attached").arg(count) : QString();
    });
}

template <typename Answer>
void Attachments::askDisk(const Request<Answer> &request, const std::function<void(const Answer &)> &done,
                          const std::optional<Answer> &otherwise) {
    m_requests.push_back([=, this] {
        const auto decision = std::make_shared<std::atomic<bool>>(false);
        const auto isAnswered = std::make_shared<bool>(false);
        const auto take = whileAlive(this, [=, this](const Answer &answer) {
            if (std::exchange(*isAnswered, true))
                return;
            done(answer);
            m_requests.pop_front();
            if (m_requests.empty())
                settle();
            else
                m_requests.front()();
        });
        const auto ask = [=, waiting = fileProcessingQueue.value()] { return request(waiting, decision); };
        besideMainQueue("Attachments", ask, take);
        // Also for a window that is gone: its copy must not come after all.
        if (otherwise)
            QTimer::singleShot(patience, QCoreApplication::instance(), [=] {
                if (!*isAnswered && !decision->exchange(true))
                    take(*otherwise);
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
        QStringLiteral("Attach files"), QStringLiteral("Pictures and documents"), UserFiles::extensions,
        [this](const platform::FileChooser::Files &files) {
            if (files)
                filesPicked(*files);
            else
                isFilePanelVisible = true;
        });
}

void Attachments::closeFilePanel(const QStringList &picked) {
    isFilePanelVisible = false;
    Files files;
    for (const QString &file : picked)
        files.push_back(FolderList::decoded(file));
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
        m_leftOut += UserFiles::leftOut(file, QStringLiteral("The logs are already packed"));
    settle();
}

void Attachments::attach(const Files &files) {
    UserFiles::Pick unseen;
    for (const fs::path &file : files)
        unseen.leftOut += UserFiles::leftOut(file, noAnswer);
    const auto measure = [files, folder = userFilesURL](const Files &waiting, const auto &) {
        return UserFiles::measured(files, waiting, folder);
    };
    const auto take = [this, files](const UserFiles::Pick &pick) {
        if (!pick.isWithinLimit && isAsking()) {
            for (const fs::path &file : files)
                m_leftOut += UserFiles::leftOut(file, QStringLiteral("The files are too large together"));
            return;
        }
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
    };
    askDisk<UserFiles::Pick>(measure, take, unseen);
}

void Attachments::processNextFile() {
    if (m_isCopying || isAsking() || !hasFolder())
        return;
    if (fileProcessingQueue.value().empty())
        updateFileCount();
    else
        copy(fileProcessingQueue.value().front(), Clash::asks);
}

void Attachments::copy(const fs::path &file, Clash clash) {
    m_isCopying = true;
    const auto request = [=, folder = *userFilesURL, scratch = temptempURL.value_or(fs::path())](
                             const Files &, const UserFiles::Decision &decision) {
        return UserFiles::copyInto(folder, scratch, file, clash, decision);
    };
    const auto take = [=, this](const Copied &copied) {
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
            m_leftOut += UserFiles::leftOut(file, *copied);
        else if (copied && clash == Clash::asks)
            filesCountInDestination = filesCountInDestination + 1;
        // The alert must close before the next one may open.
        dropFirstAndGoOn(std::chrono::milliseconds(clash == Clash::asks ? 0 : 500));
    };
    askDisk<Copied>(request, take, Copied(noAnswer));
}

void Attachments::dropFirstAndGoOn(std::chrono::milliseconds delay) {
    auto queue = fileProcessingQueue.value();
    if (!queue.empty())
        queue.erase(queue.begin());
    fileProcessingQueue = queue;
    currentFileToProcess = std::nullopt;
    m_isCopying = true;
    QTimer::singleShot(delay, this, [this] {
        m_isCopying = false;
        processNextFile();
        settle();
    });
    settle();
}

// Whether the user still has to say what becomes of the first file that waits.
bool Attachments::isAsking() const {
    return showAlert && activeAlert == ActiveAlert::replaceFile;
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
            m_leftOut += UserFiles::leftOut(*file, QStringLiteral("Waits until you attach more files"));
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
    const auto count = [folder = *userFilesURL](auto...) { return UserFiles::countIn(folder); };
    askDisk<std::optional<qint64>>(count, [this](const std::optional<qint64> &files) {
        filesCountInDestination = files.value_or(filesCountInDestination);
    });
}

void Attachments::removeAllUserFiles() {
    if (!hasFolder())
        return;
    // A file that the user did not want to replace another one would no longer meet that.
    fileProcessingQueue = Files();
    currentFileToProcess = std::nullopt;
    const auto remove = [folder = *userFilesURL, count = filesCountInDestination.value()](auto...) {
        return UserFiles::removeAll(folder, count);
    };
    askDisk<bool>(remove, [this](bool) { updateFileCount(); });
}
