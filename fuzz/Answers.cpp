// Whatever bytes a server answers, an upload ends, and is believed only after a whole head with a 200.
#include "fuzz/Harness.h"
#include "packaging/UploadAPI.h"
#include "platform/posix/FileSystem.h"
#include "support_service/Tls.h"
#include "test_support/LoopbackListener.h"
#include "test_support/ScratchHome.h"

#include <future>

namespace {

using namespace support_service;

struct Server {
    Server() {
        test_support::writeFile(archive, "content");
        test_support::writeFile(authority, certificates.trusted().c_str());
    }

    // What an upload makes of these bytes.
    UploadResponse upload(const QByteArray &answer) const {
        UploadRequest request = UploadAPI::multipartRequest(archive);
        const auto serve = [&, end = request.tail.toStdString()](int socket) {
            TlsConnection connection(socket, context.get());
            std::string arrived;
            for (std::string more; !arrived.ends_with(end) && !(more = connection.read(65536)).empty();)
                arrived += more;
            connection.send({answer.data(), static_cast<std::size_t>(answer.size())});
        };
        const test_support::LoopbackListener listener(serve);
        request.url = "https://localhost:" + QByteArray::number(listener.port()) + "/log";
        std::promise<UploadResponse> end;
        UploadTask task(
            std::move(request), [](auto...) {}, [&](const auto &response) { end.set_value(response); });
        task.resume();
        return end.get_future().get();
    }

    const test_support::ScratchHome home;
    const std::filesystem::path archive = home.path() / "archive.zip";
    const std::filesystem::path authority = home.path() / "authority.pem";
    const test_support::ScopedEnvironment trust{"SSL_CERT_FILE", authority.native()};
    const Certificates certificates;
    const std::shared_ptr<SSL_CTX> context = certificates.serverContext(Handshake::good);
};

} // namespace

void tryInput(const QByteArray &bytes) {
    static const Server server;
    const UploadResponse response = server.upload(bytes);
    require(response.data || response.error, "there is an answer or an error");
    require(!response.data || bytes.contains(*response.data) || bytes.toLower().contains("chunked"),
            "data are the answer's");
    const bool isBelieved = std::holds_alternative<QByteArray>(UploadAPI::handleResponse(response));
    require(!isBelieved || (bytes.contains(" 200") && (bytes.contains("\n\r\n") || bytes.contains("\n\n"))),
            "only a 200 with its whole head is a success");
}
