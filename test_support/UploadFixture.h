// What the tests of one upload share: a service, and an upload to it that is waited for.
#pragma once

#include "packaging/UploadAPI.h"
#include "support_service/SupportService.h"
#include "test_support/ScratchHome.h"

#include <array>
#include <future>
#include <gtest/gtest.h>

class UploadFixture : public testing::Test {
protected:
    void start(const QByteArray &content, UploadLimits limits = {}, const std::string &host = {}) {
        const auto file = home.path() / "a b.zip";
        test_support::writeFile(file, content);
        UploadRequest request = UploadAPI::multipartRequest(file);
        request.url = QByteArray::fromStdString("https://" + (host.empty() ? service.host() : host) + path);
        finished = {};
        ending = finished.get_future();
        finishedCalls = 0;
        task = std::make_unique<UploadTask>(
            std::move(request), [this](auto... report) { progress.push_back({report...}); },
            [this](const UploadResponse &response) {
                ++finishedCalls;
                finished.set_value(response);
            },
            limits);
        task->resume();
    }

    UploadResponse waitForEnd() {
        if (ending.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
            ADD_FAILURE() << "the upload did not end";
            return {};
        }
        return ending.get();
    }

    UploadResponse upload(const QByteArray &content = "content", UploadLimits limits = {}) {
        start(content, limits);
        return waitForEnd();
    }
    // Uploads to a service that behaves like this, and keeps what it answers.
    void expectEnd(const support_service::Behaviour &behaviour, std::optional<int> status, int error,
                   const QByteArray &content = "content", UploadLimits limits = {}) {
        SCOPED_TRACE(testing::Message() << "status " << status.value_or(0) << ", error " << error);
        service.setBehaviour(behaviour);
        const UploadResponse response = upload(content, limits);
        EXPECT_EQ(response.statusCode, status);
        EXPECT_EQ(code(response), error);
        // A redirect that is not followed has both.
        EXPECT_EQ(response.data.has_value(), error == 0 || status == 307 || status == 308);
        answer = response.data.value_or(QByteArray());
        sentence = response.error ? response.error->userInfoDescription : QString();
    }
    static void expectReceived(const support_service::Receipt &receipt, const QByteArray &content) {
        EXPECT_EQ(receipt.problem, "") << "in the form around the archive";
        EXPECT_EQ(receipt.fileName, "a b.zip");
        EXPECT_TRUE(test_support::readFile(receipt.archive) == content);
    }
    static QByteArray someBytes(qsizetype count) {
        QByteArray bytes(count, Qt::Uninitialized);
        for (qsizetype i = 0; i < count; ++i)
            bytes[i] = static_cast<char>(i * 7 + (i >> 8));
        return bytes;
    }
    static int code(const UploadResponse &response) { return response.error ? response.error->code : 0; }

    const std::string path = "/cr-apip-7.0.0/mac/log";
    const UploadLimits shortAnswer{.idle = std::chrono::seconds(10),
                                   .answer = std::chrono::milliseconds(500)};
    QByteArray answer;
    QString sentence;
    test_support::ScratchHome home;
    support_service::SupportService service;
    // The bytes sent since the last report, sent in all, and expected.
    std::vector<std::array<std::int64_t, 3>> progress;
    std::promise<UploadResponse> finished;
    std::future<UploadResponse> ending;
    int finishedCalls = 0;
    std::unique_ptr<UploadTask> task;

private:
    test_support::ScopedEnvironment m_trust{"SSL_CERT_FILE", service.certificateFile().native()};
};
