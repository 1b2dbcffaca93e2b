// Which connections an upload makes, and which it refuses.
#include "platform/posix/FileDescriptor.h"
#include "test_support/Isolation.h"
#include "test_support/LoopbackListener.h"
#include "test_support/UploadFixture.h"

#include <arpa/inet.h>
#include <openssl/pem.h>
#include <sys/socket.h>

namespace {

using namespace std::chrono_literals;
using namespace support_service;
using platform::FileDescriptor;
using test_support::LoopbackListener;
using test_support::ScopedEnvironment;
using UploadConnection = UploadFixture;

void answerPlainly(int socket, const std::string &status) {
    char buffer[4096];
    ::recv(socket, buffer, sizeof buffer, 0);
    const std::string answer = "HTTP/1.1 " + status + "\r\nContent-Length: 0\r\n\r\n";
    ::send(socket, answer.data(), answer.size(), MSG_NOSIGNAL);
}

TEST_F(UploadConnection, SendsNothingWithoutAConnectionThatItTrusts) {
    using namespace TransportErrorCode;
    const std::pair<Handshake, int> handshakes[] = {{Handshake::wrongHost, certificateUntrusted},
                                                    {Handshake::untrusted, certificateUntrusted},
                                                    {Handshake::expired, certificateExpired},
                                                    {Handshake::refused, secureConnectionFailed}};
    for (const auto &[handshake, expected] : handshakes) {
        service.setHandshake(handshake);
        EXPECT_EQ(code(upload()), expected);
    }
    service.setHandshake(Handshake::good);
    const LoopbackListener speaksPlainly([](int socket) { answerPlainly(socket, "403 Forbidden"); });
    const LoopbackListener hangsUp([](int) {});
    for (const char *name : {"SSL_CERT_FILE", "SSL_CERT_DIR"}) {
        // The system's own certificates, and none.
        for (const auto &value : {std::optional<std::string>(), {home.path() / "missing"}}) {
            const ScopedEnvironment file("SSL_CERT_FILE", std::nullopt);
            const ScopedEnvironment variable(name, value);
            EXPECT_EQ(code(upload()), certificateUntrusted);
        }
    }
    EXPECT_TRUE(service.requests().empty());
    const std::pair<int, int> ports[] = {{speaksPlainly.port(), secureConnectionFailed},
                                         {hangsUp.port(), secureConnectionFailed},
                                         {1, cannotConnectToHost}};
    for (const auto &[port, expected] : ports) {
        start("content", {}, "localhost:" + std::to_string(port));
        EXPECT_EQ(code(waitForEnd()), expected);
    }
}

TEST_F(UploadConnection, TakesCertificatesFromTheFilesThatOpensslWouldTakeThemFrom) {
    const QByteArray certificates = test_support::readFile(service.certificateFile());
    const std::unique_ptr<BIO, decltype(&BIO_free)> text(BIO_new_mem_buf(certificates.data(), -1), BIO_free);
    const std::unique_ptr<X509, decltype(&X509_free)> first(
        PEM_read_bio_X509(text.get(), nullptr, nullptr, nullptr), X509_free);
    const auto name =
        QByteArray::number(
            qulonglong(X509_NAME_hash_ex(X509_get_subject_name(first.get()), nullptr, nullptr, nullptr)), 16)
            .rightJustified(8, '0');
    test_support::writeFile(home.path() / "hashed" / (name.toStdString() + ".0"), certificates);
    const std::string hashed = home.path() / "hashed";
    const std::string file = service.certificateFile();
    const std::string missing = home.path() / "missing";
    for (const auto &[certificateFile, folder] :
         {std::pair(file, std::string()), {"", hashed}, {missing, missing + ":" + hashed}, {file, missing}}) {
        const ScopedEnvironment variable("SSL_CERT_FILE", certificateFile);
        const ScopedEnvironment folders("SSL_CERT_DIR", folder);
        EXPECT_EQ(upload().statusCode, 200) << certificateFile << ' ' << folder;
    }
    REQUIRE_OWN_NAMESPACES();
    // What the system has: a file on macOS, a folder on Linux, which is in the same place.
    test_support::writeFile(home.path() / "ssl/cert.pem", certificates);
    std::filesystem::create_directory(home.path() / "ssl/certs");
    const auto system = test_support::Mount::over(home.path() / "ssl", "/etc/ssl");
    const auto systemFolder = test_support::Mount::over(hashed, X509_get_default_cert_dir());
    // Empty ones are as good as none.
    const ScopedEnvironment noFile("SSL_CERT_FILE", "");
    const ScopedEnvironment noFolders("SSL_CERT_DIR", "");
    EXPECT_EQ(upload().statusCode, 200);
}

TEST_F(UploadConnection, SaysThatItWasTheProxy) {
    using namespace TransportErrorCode;
    const auto expect = [this](const std::string &proxy, const QString &domain, int expected,
                               const char *text) {
        const ScopedEnvironment way("https_proxy", proxy);
        const UploadResponse response = upload();
        EXPECT_FALSE(response.statusCode);
        EXPECT_EQ(response.error, (UploadError{domain, expected, QString::fromLatin1(text)})) << proxy;
    };
    constexpr char refusal[] = "The proxy server refused to connect to the support server.";
    for (const char *status : {"401 No", "403 No", "407 No", "502 No", "503 No"}) {
        const LoopbackListener refuses([&](int socket) { answerPlainly(socket, status); });
        expect("http://127.0.0.1:" + std::to_string(refuses.port()), ProxyErrorDomain, 310, refusal);
    }
    const LoopbackListener hangsUp([](int) {});
    expect("localhost:" + std::to_string(hangsUp.port()), TransportErrorDomain, connectionLost,
           "The connection to the proxy server was lost.");
    expect("http://localhost:1", TransportErrorDomain, cannotConnectToHost,
           "Could not connect to the proxy server.");
    const LoopbackListener silent([](int socket) { waitOn(socket, forEver); });
    {
        const ScopedEnvironment way("https_proxy", "127.0.0.1:" + std::to_string(silent.port()));
        EXPECT_EQ(code(upload("", {.connect = 400ms})), timedOut);
    }
    // The same certificates are trusted for the proxy.
    const Certificates certificates;
    test_support::writeFile(home.path() / "proxy.pem", QByteArray::fromStdString(certificates.trusted()));
    const ScopedEnvironment trust("SSL_CERT_FILE", home.path() / "proxy.pem");
    for (const auto &[handshake, domain, expected, text] :
         {std::tuple(Handshake::good, ProxyErrorDomain, 310, refusal),
          {Handshake::wrongHost, TransportErrorDomain, certificateUntrusted,
           "The proxy server's certificate is not trusted."},
          {Handshake::expired, TransportErrorDomain, certificateExpired,
           "The proxy server's certificate has expired."}}) {
        const LoopbackListener secure([&, offered = handshake](int socket) {
            TlsConnection connection(socket, certificates.serverContext(offered).get());
            for (auto line = connection.readLine(); line && !line->empty(); line = connection.readLine()) {
            }
            connection.send("HTTP/1.1 403 No\r\nContent-Length: 0\r\n\r\n");
        });
        expect("https://localhost:" + std::to_string(secure.port()), domain, expected, text);
    }
    EXPECT_TRUE(service.requests().empty());
}

TEST_F(UploadConnection, FollowsOnlyRedirectsThatKeepTheMethodToHttpsOnTheSameHost) {
    for (const int status : {307, 308}) {
        service.setBehaviour({.status = status, .location = "https://" + service.host() + path}, 1);
        EXPECT_EQ(upload(someBytes(200'000)).statusCode, 200);
    }
    ASSERT_EQ(service.receipts().size(), 4U);
    for (const Receipt &receipt : service.receipts())
        expectReceived(receipt, someBytes(200'000));
    const std::string port = std::to_string(service.port());
    const std::tuple<int, std::optional<std::string>, const char *> answers[] = {
        {301, path, ""},
        {302, "/elsewhere", ""},
        {303, path, ""},
        {302, std::nullopt, ""},
        {307, std::nullopt, ""},
        {307, "https://127.0.0.1:" + port + path, redirectRefused},
        {308, "http://localhost:" + port + path, redirectRefused}};
    for (const auto &[status, location, text] : answers) {
        const auto before = service.requests().size();
        expectEnd({.status = status, .body = "moved", .location = location}, status, *text == '\0' ? 0 : -1);
        EXPECT_EQ(answer, "moved");
        EXPECT_EQ(sentence, QString::fromLatin1(text));
        EXPECT_EQ(service.requests().size(), before + 1);
    }
    expectEnd({.status = 307, .body = "on", .location = path}, 307, -1);
    EXPECT_EQ(answer, "on");
    EXPECT_EQ(sentence, QString::fromLatin1(tooManyRedirects));
}

TEST_F(UploadConnection, DividesItsTimeAmongTheAddressesOfTheService) {
    REQUIRE_OWN_NAMESPACES();
    // A listener whose queue is full answers nobody.
    struct sockaddr_in silent {};
    silent.sin_family = AF_INET;
    silent.sin_port = htons(static_cast<std::uint16_t>(service.port()));
    ::inet_pton(AF_INET, "127.0.0.2", &silent.sin_addr);
    const auto *const address = reinterpret_cast<const struct sockaddr *>(&silent);
    const FileDescriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(::bind(listener.get(), address, sizeof silent) + ::listen(listener.get(), 0), 0);
    std::array<FileDescriptor, 3> waiting;
    for (FileDescriptor &socket : waiting) {
        socket = FileDescriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        EXPECT_LE(::connect(socket.get(), address, sizeof silent), 0);
    }
    test_support::writeFile(home.path() / "hosts",
                            "127.0.0.2 other-host.example\n127.0.0.1 other-host.example\n");
    test_support::writeFile(home.path() / "gai.conf", "precedence ::ffff:127.0.0.2/128 100\n");
    const auto hosts = test_support::Mount::over(home.path() / "hosts", "/etc/hosts");
    const auto order = test_support::Mount::over(home.path() / "gai.conf", "/etc/gai.conf");
    service.setHandshake(Handshake::wrongHost);
    start("content", {.connect = 3s}, "other-host.example:" + std::to_string(service.port()));
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(waitForEnd().statusCode, 200);
    EXPECT_GT(std::chrono::steady_clock::now() - began, 1s) << "the silent address comes first";
}

} // namespace
