#include "ui/StatusText.h"

#include "test_support/EventLoop.h"

#include <QCoreApplication>
#include <QThread>
#include <array>
#include <gmock/gmock.h>
#include <thread>

namespace {

using test_support::runMainQueueUntil;
using testing::ElementsAre;

class StatusTextTest : public testing::Test {
protected:
    int argumentCount = 1;
    char name[5] = "test";
    char *arguments[2] = {name, nullptr};
    QCoreApplication application{argumentCount, arguments};

    QStringList shown;
    std::vector<QThread *> shownOn;
    std::shared_ptr<StatusText> status = std::make_shared<StatusText>([this](const QString &text) {
        shown.append(text);
        shownOn.push_back(QThread::currentThread());
    });
};

TEST_F(StatusTextTest, AThreadReadsWhatTheWindowShows) {
    status->note(QStringLiteral("Uploading 0%"));
    QString read;
    std::thread([&, binding = status->binding()] { read = binding.get(); }).join();
    EXPECT_EQ(read, QStringLiteral("Uploading 0%"));
    EXPECT_TRUE(shown.isEmpty());
}

TEST_F(StatusTextTest, WhatAThreadPutsThereIsShownOnTheMainThreadAndReadAtOnce) {
    QString read;
    std::thread([&, binding = status->binding()] {
        binding.set(QStringLiteral("Uploading 5%"));
        read = binding.get();
    }).join();
    EXPECT_EQ(read, QStringLiteral("Uploading 5%"));
    EXPECT_TRUE(shown.isEmpty());
    ASSERT_TRUE(runMainQueueUntil([&] { return !shown.isEmpty(); }));
    EXPECT_EQ(shown, QStringList{QStringLiteral("Uploading 5%")});
    EXPECT_THAT(shownOn, ElementsAre(application.thread()));
}

TEST_F(StatusTextTest, TextsAreShownInTheirOrder) {
    std::thread([binding = status->binding()] {
        for (int i = 1; i <= 99; ++i)
            binding.set(QString::number(i));
    }).join();
    ASSERT_TRUE(runMainQueueUntil([&] { return shown.size() == 99; }));
    for (int i = 1; i <= 99; ++i)
        EXPECT_EQ(shown[i - 1], QString::number(i));
}

TEST_F(StatusTextTest, ManyThreadsAndTheWindowReadAndWriteAtOnce) {
    constexpr int each = 200;
    const TextBinding binding = status->binding();
    status->note(QStringLiteral("the window's own"));
    std::array<std::thread, 4> threads;
    for (std::size_t thread = 0; thread < threads.size(); ++thread)
        threads.at(thread) = std::thread([&binding, thread] {
            for (int i = 0; i < each; ++i) {
                binding.set(QStringLiteral("thread %1 text %2").arg(thread).arg(i));
                EXPECT_FALSE(binding.get().isEmpty());
            }
        });
    EXPECT_TRUE(runMainQueueUntil([&] {
        const QString text = binding.get();
        return shown.size() == 4LL * each && !text.isEmpty();
    }));
    for (std::thread &thread : threads)
        thread.join();
    for (int thread = 0; thread < 4; ++thread) {
        const QStringList own = shown.filter(QStringLiteral("thread %1 ").arg(thread));
        ASSERT_EQ(own.size(), each);
        EXPECT_EQ(own.last(), QStringLiteral("thread %1 text %2").arg(thread).arg(each - 1));
    }
}

// A late text of an earlier step must not replace the text of the step that follows it.
TEST_F(StatusTextTest, TextsOnTheirWayAreDroppedWhenTheWindowChangesTheLineItself) {
    const TextBinding binding = status->binding();
    std::thread([&] { binding.set(QStringLiteral("Uploading 37%")); }).join();
    status->note(QStringLiteral("Uploading 0%"));
    std::thread([&] { binding.set(QStringLiteral("Uploading 1%")); }).join();
    ASSERT_TRUE(runMainQueueUntil([&] { return !shown.isEmpty(); }));
    EXPECT_EQ(shown, QStringList{QStringLiteral("Uploading 1%")});
}

// The line notes each change, also those of the threads, which are not the window's own.
TEST_F(StatusTextTest, ATextThatIsShownDoesNotOverruleThoseAfterIt) {
    QStringList line;
    const auto joined = std::make_shared<StatusText *>(nullptr);
    QStringList readMeanwhile;
    const auto own = std::make_shared<StatusText>([&, joined](const QString &text) {
        line.append(text);
        (*joined)->note(text);
        readMeanwhile.append((*joined)->binding().get());
    });
    *joined = own.get();
    const TextBinding binding = own->binding();
    std::thread([&] {
        binding.set(QStringLiteral("1"));
        binding.set(QStringLiteral("2"));
    }).join();
    EXPECT_TRUE(runMainQueueUntil([&] { return line.size() == 2; }));
    EXPECT_EQ(line, (QStringList{QStringLiteral("1"), QStringLiteral("2")}));
    EXPECT_EQ(readMeanwhile, (QStringList{QStringLiteral("2"), QStringLiteral("2")}));
}

TEST_F(StatusTextTest, TextsOnTheirWayAreDroppedWhenTheWindowIsGone) {
    const TextBinding binding = status->binding();
    std::thread([&] { binding.set(QStringLiteral("late")); }).join();
    status->close();
    std::thread([&] { binding.set(QStringLiteral("later")); }).join();
    test_support::runMainQueueFor(std::chrono::milliseconds(20));
    EXPECT_TRUE(shown.isEmpty());
    EXPECT_EQ(binding.get(), QStringLiteral("later"));
}

TEST_F(StatusTextTest, ABindingOutlivesItsWindow) {
    const TextBinding binding = status->binding();
    std::thread writer([&] {
        for (int i = 0; i < 500; ++i)
            binding.set(QString::number(i));
    });
    status->close();
    status.reset();
    writer.join();
    test_support::runMainQueueFor(std::chrono::milliseconds(20));
    EXPECT_TRUE(shown.isEmpty());
    EXPECT_EQ(binding.get(), QStringLiteral("499"));
}

} // namespace
