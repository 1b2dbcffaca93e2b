#include "collection/StatusText.h"

#include "test_support/EventLoop.h"

#include <QCoreApplication>
#include <QThread>
#include <gtest/gtest.h>
#include <thread>

namespace {

using test_support::runMainQueueUntil;

class StatusTextTest : public testing::Test {
protected:
    int argumentCount = 1;
    char name[5] = "test";
    char *arguments[2] = {name, nullptr};
    QCoreApplication application{argumentCount, arguments};

    // What a thread of the capture or the upload puts there.
    void put(const QStringList &texts) {
        std::thread([&, binding = binding] {
            for (const QString &text : texts) {
                binding.set(text);
                EXPECT_EQ(binding.get(), text);
            }
        }).join();
    }
    void expectShown(const QStringList &texts) {
        runMainQueueUntil([&] { return shown.size() >= texts.size(); });
        test_support::runMainQueueFor(std::chrono::milliseconds(20));
        EXPECT_EQ(shown, texts);
    }

    QStringList shown;
    std::shared_ptr<StatusText> status = std::make_shared<StatusText>([this](const QString &text) {
        EXPECT_EQ(QThread::currentThread(), application.thread());
        shown.append(text);
        // The line notes each change, also those of the threads, which are not the window's own.
        status->note(text);
    });
    TextBinding binding = status->binding();
};

TEST_F(StatusTextTest, WhatAThreadPutsThereIsReadAtOnceAndShownInItsOrder) {
    put({QStringLiteral("Uploading 37%")});
    // A late text of an earlier step must not replace the text of the step that follows it.
    status->note(QStringLiteral("Uploading 0%"));
    EXPECT_EQ(binding.get(), QStringLiteral("Uploading 0%"));
    const QStringList texts{QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")};
    put(texts);
    EXPECT_TRUE(shown.isEmpty());
    expectShown(texts);
}

TEST_F(StatusTextTest, ManyThreadsAndTheWindowReadAndWriteAtOnce) {
    constexpr int each = 200;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([this, thread] {
            for (int i = 0; i < each; ++i) {
                binding.set(QStringLiteral("thread %1 text %2").arg(thread).arg(i));
                EXPECT_FALSE(binding.get().isEmpty());
            }
        });
    EXPECT_TRUE(runMainQueueUntil([&] { return !binding.get().isEmpty() && shown.size() == 4LL * each; }));
    for (int thread = 0; thread < 4; ++thread) {
        threads.at(static_cast<std::size_t>(thread)).join();
        EXPECT_EQ(shown.filter(QStringLiteral("thread %1 ").arg(thread)).last(),
                  QStringLiteral("thread %1 text %2").arg(thread).arg(each - 1));
    }
}

TEST_F(StatusTextTest, TextsOnTheirWayAreDroppedWhenTheWindowIsGone) {
    std::thread writer([&] {
        for (int i = 0; i < 500; ++i)
            binding.set(QString::number(i));
    });
    status->close();
    status.reset();
    writer.join();
    expectShown({});
    EXPECT_EQ(binding.get(), QStringLiteral("499"));
}

} // namespace
