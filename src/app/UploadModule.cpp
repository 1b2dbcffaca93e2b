// The bundle's module that holds the transport, loaded for the first upload.
#include "logging/Logging.h"
#include "packaging/UploadTask.h"
#include "platform/Bundle.h"
#include "platform/posix/Text.h"

#include <QLibrary>

std::unique_ptr<UploadTransport> makeUploadTransport() {
    const auto &bundle = platform::Bundle::main();
    QLibrary module(bundle ? platform::displayText(bundle->module("Upload")) : QString());
    const auto newTransport = reinterpret_cast<UploadTransport *(*)()>(module.resolve("newUploadTransport"));
    if (newTransport == nullptr)
        Logger::logError(QStringLiteral("The upload cannot be loaded: ") + module.errorString());
    return std::unique_ptr<UploadTransport>(newTransport == nullptr ? nullptr : newTransport());
}
