// What the product's own tests rely on without looking: that the service tells good uploads from bad ones,
// keeps what it received as it came, and can be ended at any moment.
#include "support_service/SupportService.h"

#include "test_support/ProgramRun.h"

#include <QCryptographicHash>
#include <curl/curl.h>
#include <future>
#include <gmock/gmock.h>
#include <thread>

using namespace support_service;
using namespace test_support;
using namespace std::chrono_literals;

namespace {

const std::string boundary = "0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0";
const std::string logId = "3b1f8a3e-55f0-4ad0-8d5c-3a1f1f3f9d55";
const std::string archiveName = "lumaMacLog_" + logId + "_cef.zip";
const std::string uploadPath(SupportService::uploadPath);

std::string uploadBody(const std::string &content, const std::string &fileName = archiveName) {
    return "\r\n--" + boundary + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" + fileName +
           "\"\r\nContent-Type: application/octet-stream\r\n\r\n" + content + "\r\n--" + boundary + "--\r\n";
}

struct Answer {
    CURLcode error = CURLE_OK;
    long status = 0;
    std::string body;
};

struct Call {
    std::string body;
    std::string path = uploadPath;
    const char *method = "POST";
    std::vector<const char *> headers = {};
};

std::size_t append(const char *bytes, std::size_t size, std::size_t count, void *text) {
    static_cast<std::string *>(text)->append(bytes, size * count);
    return size * count;
}

// Sends one request over a new connection and waits for the answer.
Answer send(int port, const std::filesystem::path &trust, const Call &call) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), curl_easy_cleanup);
    const std::string url = "https://localhost:" + std::to_string(port) + call.path;
    curl_slist *lines =
        curl_slist_append(nullptr, ("Content-Type: multipart/form-data; boundary=" + boundary).c_str());
    for (const char *header : call.headers)
        lines = curl_slist_append(lines, header);
    Answer answer;
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_PROXY, "");
    curl_easy_setopt(curl.get(), CURLOPT_CAINFO, trust.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, lines);
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(call.body.size()));
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, call.body.data());
    curl_easy_setopt(curl.get(), CURLOPT_CUSTOMREQUEST, call.method);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, &append);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &answer.body);
    answer.error = curl_easy_perform(curl.get());
    curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &answer.status);
    curl_slist_free_all(lines);
    return answer;
}

Answer send(const SupportService &service, const Call &call) {
    return send(service.port(), service.certificateFile(), call);
}

} // namespace

TEST(SupportService, KeepsAnUploadAsItCameWithAReceipt) {
    SupportService service;
    std::string content;
    for (unsigned i = 0; i < 300'000; ++i)
        content += static_cast<char>(i * i % 251);
    // As clients send large bodies, and small ones.
    for (const char *header : {"Expect: 100-continue", "Expect:"}) {
        const Answer answer = send(service, {.body = uploadBody(content), .headers = {header}});
        EXPECT_EQ(answer.error, CURLE_OK);
        EXPECT_EQ(answer.status, 200);
        EXPECT_EQ(answer.body, "Received.");
        const ReceivedRequest request = service.requests().back();
        EXPECT_EQ(request.method + " " + request.target, "POST /cr-apip-7.0.0/mac/log");
        EXPECT_EQ(request.header("content-type"), "multipart/form-data; boundary=" + boundary);
        EXPECT_EQ(request.header("Content-Typ"), "");
        EXPECT_TRUE(*request.body == uploadBody(content));
        const Receipt receipt = service.receipts().back();
        EXPECT_EQ(receipt.fileName, archiveName);
        EXPECT_EQ(receipt.logId, logId);
        EXPECT_EQ(receipt.sizeBytes, 300'000U);
        EXPECT_TRUE(receipt.complete);
        EXPECT_EQ(receipt.problem, "");
        EXPECT_TRUE(readFile(receipt.archive).toStdString() == content);
    }
    EXPECT_EQ(service.receipts().size(), 2U);
    EXPECT_EQ(service.bodyBytes(), 2 * uploadBody(content).size());
    EXPECT_EQ(service.receipts()[0].sha256,
              QCryptographicHash::hash(QByteArray::fromStdString(content), QCryptographicHash::Sha256)
                  .toHex()
                  .toStdString());
}

TEST(SupportService, SaysWhatIsWrongWithABody) {
    SupportService service;
    EXPECT_EQ(send(service, {.body = "no form"}).status, 200);
    EXPECT_EQ(service.receipts().at(0).problem, "the body does not begin with a line break and the boundary");
    EXPECT_FALSE(service.receipts()[0].complete);
    EXPECT_EQ(service.receipts()[0].archive, "");
    EXPECT_FALSE(service.waitForReceipts(2, 10ms));

    service.setBehaviour({.resetAfterBytes = 300});
    EXPECT_NE(send(service, {.body = uploadBody(std::string(1000, 'x'))}).error, CURLE_OK);
    ASSERT_TRUE(service.waitForReceipts(2, 10s));
    EXPECT_EQ(service.receipts()[1].problem, "the body broke off before its closing boundary");
    EXPECT_FALSE(service.receipts()[1].complete);
    EXPECT_EQ(service.receipts()[1].archive, "");
}

TEST(SupportService, TakesUploadsAtOnePlaceAlone) {
    SupportService service;
    EXPECT_EQ(send(service, {.body = uploadBody("data"), .path = "/elsewhere"}).status, 404);
    EXPECT_EQ(send(service, {.body = uploadBody("data"), .method = "PUT"}).status, 405);
    EXPECT_EQ(service.requests().size(), 2U);
    EXPECT_TRUE(service.receipts().empty());
}

TEST(SupportService, EndsAtOnceWhateverItIsDoing) {
    const std::vector<Behaviour> behaviours = {
        {.readBytesPerSecond = 10},
        {.stopReadingAfterBytes = 1000},
        {.waitBeforeAnswer = 1h},
        {.neverAnswer = true},
        {.ending = AnswerEnding::hangAfterHeaders},
        {.ending = AnswerEnding::endlessBody},
        {.ending = AnswerEnding::trickle, .trickleInterval = 1h},
    };
    for (const Behaviour &behaviour : behaviours) {
        std::future<Answer> answer;
        std::chrono::steady_clock::time_point start;
        {
            SupportService service;
            service.setBehaviour(behaviour);
            answer = std::async(std::launch::async, [&] {
                return send(service, {.body = uploadBody(std::string(100'000, 'x'))});
            });
            ASSERT_TRUE(service.waitForBodyBytes(1, 10s));
            std::this_thread::sleep_for(50ms);
            start = std::chrono::steady_clock::now();
        }
        EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
        EXPECT_NE(answer.get().error, CURLE_OK);
    }
}

TEST(SupportServiceProgram, PrintsAReceiptAndKeepsArchivesPrivate) {
    const ScratchFolder folder;
    const std::string store = folder.path() / "store";
    ProgramRun program({.program = SUPPORT_SERVICE_PATH,
                        .arguments = {"--store", store, "--certificate-file", folder.path() / "ca.pem",
                                      "--ready-file", folder.path() / "ready", "--status", "503"}});
    ASSERT_TRUE(waitUntil([&] { return exists(folder.path() / "ready"); }));
    const int port = readFile(folder.path() / "ready").trimmed().toInt();
    EXPECT_EQ(
        send(port, folder.path() / "ca.pem", {.body = uploadBody("none", "../../a\x1b[31m.zip")}).status,
        503);
    program.send(SIGTERM);
    EXPECT_EQ(program.waitForEnd(), exited(0));
    EXPECT_EQ(program.standardError(), "");
    EXPECT_EQ(program.standardOutput(),
              "Listening on https://localhost:" + std::to_string(port) + uploadPath +
                  "\nTrust: SSL_CERT_FILE=" + (folder.path() / "ca.pem").native() +
                  "\nReceived ../../a?[31m.zip\n  Log ID   none\n  Size     4 bytes\n  SHA-256  "
                  "140bedbf9c3f6d56a9846d2ba7088798683f4da0c248231336e6a05679e4fdfe\n  Stored   " +
                  store +
                  "/1-.._.._a__31m.zip\n  Listing  none: this is no zip archive: it has no end record\n");
    using std::filesystem::perms;
    const auto mode = [](const std::filesystem::path &path) { return status(path).permissions(); };
    EXPECT_EQ(mode(store), perms::owner_all);
    EXPECT_EQ(mode(store + "/1-.._.._a__31m.zip"), perms::owner_read | perms::owner_write);
}
