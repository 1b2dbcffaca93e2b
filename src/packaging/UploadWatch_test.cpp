// What an upload sees of its connection below TLS, where the system's libcurl gives a way to.
#include "test_support/LoopbackListener.h"
#include "test_support/UploadFixture.h"

#include <openssl/ssl.h>

namespace {

using namespace std::chrono_literals;
using namespace support_service;
using test_support::LoopbackListener;
using test_support::ScopedEnvironment;
using UploadWatch = UploadFixture;

TEST_F(UploadWatch, TakesASlowAnswerForAMovingOneEvenWithinALine) {
    const auto began = std::chrono::steady_clock::now();
    expectEnd({.rawAnswer = "HTTP/1.1 200 OK\r\nX-Slow: ", .repeated = "x", .repeatInterval = 50ms}, 200,
              TransportErrorCode::timedOut, "", {.idle = 1s, .answer = 2500ms});
    EXPECT_GE(std::chrono::steady_clock::now() - began, 2500ms);
}

TEST_F(UploadWatch, ReadsAnAnswerThatCameBeforeTheConnectionWasResetInTheMiddleOfTheBody) {
    // Which side is faster differs from run to run.
    constexpr int runs = 5;
    const QByteArray large = someBytes(4'000'000);
    for (const int status : {408, 413, 500, 503}) {
        for (int run = 0; run < runs; ++run)
            expectEnd({.answersBeforeBody = true, .leavesBodyUnread = true, .status = status, .body = "no"},
                      status, 0, large);
        EXPECT_EQ(answer, "no");
    }
    // Already there, and the connection reset, when the client begins to send.
    const Certificates certificates;
    const auto context = certificates.serverContext(Handshake::good);
    test_support::writeFile(home.path() / "authority.pem", QByteArray::fromStdString(certificates.trusted()));
    const ScopedEnvironment trust("SSL_CERT_FILE", home.path() / "authority.pem");
    const LoopbackListener impatient([&](int socket) {
        const std::unique_ptr<SSL, decltype(&SSL_free)> tls(SSL_new(context.get()), SSL_free);
        const std::string_view tooSlow =
            "HTTP/1.1 408 Slow\r\nContent-Length: 2\r\nConnection: close\r\n\r\nno";
        std::size_t count = 0;
        char none = 0;
        SSL_set_fd(tls.get(), socket);
        SSL_read_early_data(tls.get(), &none, 1, &count);
        SSL_write_early_data(tls.get(), tooSlow.data(), tooSlow.size(), &count);
    });
    for (int run = 0; run < runs; ++run) {
        start(large, {}, "localhost:" + std::to_string(impatient.port()));
        const UploadResponse response = waitForEnd();
        EXPECT_EQ(code(response), 0);
        EXPECT_EQ(response.statusCode, 408);
        EXPECT_EQ(response.data, "no");
    }
}

} // namespace
