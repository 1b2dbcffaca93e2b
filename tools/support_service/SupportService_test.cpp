// What the service takes in and how it answers.
#include "SupportService.h"

#include "../ProgramRun.h"
#include "Sha256.h"
#include "TestClient.h"

#include <curl/curl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <thread>

namespace support_service::test {

using namespace std::chrono_literals;

namespace {

std::string contentOf(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

TEST(SupportService, StoresAnUploadWithItsReceipt) {
    SupportService service;
    const std::string content = someBytes(300'000);

    const Answer answer = call(service, uploadBody(content));

    EXPECT_EQ(answer.error, CURLE_OK);
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, "Received.");
    const auto receipts = service.receipts();
    ASSERT_EQ(receipts.size(), 1U);
    EXPECT_EQ(receipts[0].fileName, archiveName);
    EXPECT_EQ(receipts[0].logId, "3b1f8a3e-55f0-4ad0-8d5c-3a1f1f3f9d55");
    EXPECT_EQ(receipts[0].sizeBytes, 300'000U);
    EXPECT_EQ(receipts[0].sha256, sha256Hex(content));
    EXPECT_TRUE(receipts[0].complete);
    EXPECT_EQ(receipts[0].problem, "");
    EXPECT_EQ(contentOf(receipts[0].archive), content);
}

TEST(SupportService, KeepsTheRequestAsItCame) {
    SupportService service;
    const std::string body = uploadBody(someBytes(70'000));

    call(service, body);

    const auto requests = service.requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].method, "POST");
    EXPECT_EQ(requests[0].target, "/cr-apip-7.0.0/mac/log");
    EXPECT_EQ(requests[0].header("content-type"), contentType);
    EXPECT_EQ(requests[0].header("Content-Length"), std::to_string(body.size()));
    EXPECT_EQ(requests[0].header("Host"), service.host());
    EXPECT_EQ(requests[0].header("Content-Typ"), "");
    std::vector<std::string> names;
    for (const auto &[name, value] : requests[0].headers)
        names.push_back(name);
    EXPECT_EQ(names, (std::vector<std::string>{"Accept", "Content-Length", "Content-Type", "Host"}));
    ASSERT_NE(requests[0].body, nullptr);
    EXPECT_TRUE(*requests[0].body == body);
    EXPECT_TRUE(requests[0].finished);
    EXPECT_TRUE(requests[0].arrivedWhole);
    EXPECT_EQ(service.bodyBytes(), body.size());
}

TEST(SupportService, TakesTheLargestArchiveWhole) {
    SupportService service;
    const std::string content = someBytes(104'857'599);

    const Answer answer = call(service, uploadBody(content), {.timeout = 100s});

    EXPECT_EQ(answer.error, CURLE_OK);
    ASSERT_EQ(service.receipts().size(), 1U);
    EXPECT_EQ(service.receipts()[0].sizeBytes, content.size());
    EXPECT_EQ(service.receipts()[0].sha256, sha256Hex(content));
}

TEST(SupportService, TakesAChunkedBody) {
    SupportService service;
    const std::string body = uploadBody(someBytes(100'000));

    EXPECT_EQ(call(service, body, {.chunked = true}).status, 200);

    ASSERT_EQ(service.requests().size(), 1U);
    EXPECT_EQ(service.requests()[0].header("Transfer-Encoding"), "chunked");
    EXPECT_TRUE(*service.requests()[0].body == body);
}

TEST(SupportService, ReportsABodyOfAnotherFormat) {
    SupportService service;

    EXPECT_EQ(call(service, "no form").status, 200);

    ASSERT_EQ(service.receipts().size(), 1U);
    EXPECT_FALSE(service.receipts()[0].complete);
    EXPECT_EQ(service.receipts()[0].problem, "the body does not begin with a line break and the boundary");
    EXPECT_EQ(service.receipts()[0].archive, "");
}

TEST(SupportService, KeepsAnArchiveWithAHostileNameInItsStore) {
    const tools::ScratchFolder folder;
    SupportService service({.store = folder.path / "store"});

    call(service, uploadBody("data", "../../escaped/name.zip"));

    ASSERT_EQ(service.receipts().size(), 1U);
    EXPECT_EQ(service.receipts()[0].fileName, "../../escaped/name.zip");
    EXPECT_EQ(service.receipts()[0].archive.parent_path(), folder.path / "store");
    EXPECT_EQ(contentOf(service.receipts()[0].archive), "data");
}

TEST(SupportService, WritesWhereItIsToldAndLeavesThatBehind) {
    const tools::ScratchFolder folder;
    {
        SupportService service({.store = folder.path / "store", .certificateFile = folder.path / "ca.pem"});
        EXPECT_EQ(service.certificateFile(), folder.path / "ca.pem");
        EXPECT_EQ(call(service, uploadBody("data")).status, 200);
    }
    EXPECT_EQ(contentOf(folder.path / "store" / ("1-" + archiveName)), "data");
    EXPECT_TRUE(contentOf(folder.path / "ca.pem").starts_with("-----BEGIN CERTIFICATE-----"));
}

TEST(SupportService, RemovesItsOwnFolder) {
    std::filesystem::path archive;
    std::filesystem::path certificate;
    {
        SupportService service;
        call(service, uploadBody("data"));
        archive = service.receipts().at(0).archive;
        certificate = service.certificateFile();
        EXPECT_TRUE(exists(archive));
    }
    EXPECT_FALSE(exists(archive));
    EXPECT_FALSE(exists(certificate.parent_path()));
}

TEST(SupportService, HandsReceiptsOverBeforeItAnswers) {
    std::vector<Receipt> seen;
    SupportService service({.onReceipt = [&](const Receipt &receipt) { seen.push_back(receipt); }});

    call(service, uploadBody("data"));

    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].fileName, archiveName);
}

TEST(SupportService, ForgetsBodiesWhenTold) {
    SupportService service({.keepBodies = false});
    call(service, uploadBody("data"));
    EXPECT_EQ(service.requests().at(0).body, nullptr);
    EXPECT_EQ(service.receipts().at(0).sizeBytes, 4U);
}

TEST(SupportService, RefusesAPortThatIsTaken) {
    SupportService service;
    EXPECT_THROW(SupportService({.port = service.port()}), std::runtime_error);
}

TEST(SupportService, ServesManyAtOnce) {
    SupportService service;
    std::vector<std::thread> clients;
    clients.reserve(8);
    std::atomic<int> good = 0;
    for (int i = 0; i < 8; ++i)
        clients.emplace_back([&, i] {
            const std::string content = someBytes(200'000 + static_cast<std::size_t>(i));
            good += call(service, uploadBody(content)).status == 200 ? 1 : 0;
        });
    for (auto &client : clients)
        client.join();

    EXPECT_EQ(good, 8);
    EXPECT_EQ(service.connections(), 8U);
    EXPECT_EQ(service.secureConnections(), 8U);
    std::vector<std::uint64_t> sizes;
    for (const auto &receipt : service.receipts())
        sizes.push_back(receipt.sizeBytes);
    std::sort(sizes.begin(), sizes.end());
    EXPECT_EQ(sizes, (std::vector<std::uint64_t>{200'000, 200'001, 200'002, 200'003, 200'004, 200'005,
                                                 200'006, 200'007}));
}

TEST(SupportService, AnswersEveryStatusWithAndWithoutABody) {
    SupportService service;
    for (const int status : {200, 201, 202, 400, 404, 405, 413, 418, 429, 500, 503}) {
        service.setBehaviour({.status = status, .body = "Text of " + std::to_string(status)});
        const Answer full = call(service, uploadBody("data"));
        EXPECT_EQ(full.error, CURLE_OK);
        EXPECT_EQ(full.status, status);
        EXPECT_EQ(full.body, "Text of " + std::to_string(status));

        service.setBehaviour({.status = status, .body = ""});
        const Answer empty = call(service, uploadBody("data"));
        EXPECT_EQ(empty.error, CURLE_OK);
        EXPECT_EQ(empty.status, status);
        EXPECT_EQ(empty.body, "");
    }
    service.setBehaviour({.status = 204, .body = ""});
    EXPECT_EQ(call(service, uploadBody("data")).status, 204);
}

TEST(SupportService, AnswersWithChosenHeadersAndBytes) {
    SupportService service;
    const std::string bytes = someBytes(5000);
    service.setBehaviour({.body = bytes, .headers = {{"X-First", "1"}, {"X-Second", "two words"}}});

    const Answer answer = call(service, uploadBody("data"));

    EXPECT_TRUE(answer.body == bytes);
    EXPECT_NE(answer.headers.find("X-First: 1\r\n"), std::string::npos);
    EXPECT_NE(answer.headers.find("X-Second: two words\r\n"), std::string::npos);
}

TEST(SupportService, HasNothingElsewhere) {
    SupportService service;
    service.setBehaviour({.status = 500});
    EXPECT_EQ(call(service, uploadBody("data"), {.path = "/elsewhere"}).status, 404);
    EXPECT_EQ(call(service, "", {.method = "GET"}).status, 405);
    EXPECT_EQ(call(service, uploadBody("data"), {.method = "PUT"}).status, 405);
    EXPECT_EQ(service.requests().size(), 3U);
    EXPECT_TRUE(service.receipts().empty());

    service.setBehaviour({.status = 202, .anyRequest = true});
    EXPECT_EQ(call(service, "anything", {.path = "/elsewhere?a=b"}).status, 202);
    EXPECT_EQ(service.requests().at(3).target, "/elsewhere?a=b");
    EXPECT_EQ(*service.requests().at(3).body, "anything");
}

TEST(SupportService, MisbehavesForTheNextRequestsAlone) {
    SupportService service;
    service.setBehaviour({.status = 503}, 2);
    service.setBehaviour({.status = 413}, 1);
    EXPECT_EQ(call(service, uploadBody("data")).status, 503);
    EXPECT_EQ(call(service, uploadBody("data")).status, 503);
    EXPECT_EQ(call(service, uploadBody("data")).status, 413);
    EXPECT_EQ(call(service, uploadBody("data")).status, 200);
}

TEST(SupportService, Redirects) {
    SupportService target;
    target.setBehaviour({.body = "At the other place.", .anyRequest = true});
    SupportService service;
    const tools::ScratchFolder folder;
    const auto bothAuthorities = folder.path / "both.pem";
    std::ofstream(bothAuthorities) << contentOf(service.certificateFile())
                                   << contentOf(target.certificateFile());

    for (const int status : {301, 302, 303, 307, 308}) {
        service.setBehaviour({.status = status, .location = "https://" + target.host() + "/other"});
        const Answer followed =
            call(service, uploadBody("data"), {.trust = bothAuthorities, .followRedirects = true});
        EXPECT_EQ(followed.error, CURLE_OK) << status;
        EXPECT_EQ(followed.status, 200) << status;
        EXPECT_EQ(followed.body, "At the other place.") << status;
    }
    ASSERT_EQ(target.requests().size(), 5U);
    EXPECT_EQ(target.requests()[1].method, "GET");
    EXPECT_EQ(target.requests()[3].target, "/other");
    EXPECT_EQ(*target.requests()[3].body, uploadBody("data"));

    service.setBehaviour({.status = 302});
    const Answer nowhere = call(service, uploadBody("data"), {.followRedirects = true});
    EXPECT_EQ(nowhere.status, 302);
    EXPECT_EQ(nowhere.headers.find("Location"), std::string::npos);
}

} // namespace support_service::test
