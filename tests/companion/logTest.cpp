#include "companion/log.h"

#include "support/CommaDecimals.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <locale>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using vexel::log::FileAndLine;
using vexel::log::level;
using vexel::log::LogSource;
using vexel::log::LogStreamer;

namespace {

const FileAndLine here("logTest", 12);

void emitText(LogSource& source, const QString& text)
{
    LogStreamer(source, level::error, QString(), here) << text;
}

// A sink that joins the texts, each followed by '|'.
LogSource::Sink joinInto(std::string& joined)
{
    return [&joined](level, const QString&, const FileAndLine&, const QString& text) {
        joined += text.toStdString() + "|";
    };
}

// What one value becomes in a message.
template <class T>
std::string logged(const T& value)
{
    LogSource source;
    std::string text;
    source.setSink([&text](level, const QString&, const FileAndLine&, const QString& message) {
        text = message.toStdString();
    });
    LogStreamer(source, level::notice, QString(), here) << value;
    return text;
}

// Logs when it is destroyed.
struct LogsLast
{
    explicit LogsLast(LogSource& logSource) : source(logSource) {}
    ~LogsLast() { emitText(source, "last"); }
    LogsLast(const LogsLast&) = delete;
    LogsLast& operator=(const LogsLast&) = delete;

    LogSource& source;
};

} // namespace

TEST(LogLevel, ValuesAreTheApplications)
{
    EXPECT_EQ(static_cast<int>(level::notice), 2);
    EXPECT_EQ(static_cast<int>(level::warning), 6);
    EXPECT_EQ(static_cast<int>(level::error), 7);
}

TEST(LogFileAndLine, KeepsBothParts)
{
    const FileAndLine where(QString::fromUtf8("\xC3\xA9"), 4294967296u);
    EXPECT_EQ(where.file.toStdString(), "\xC3\xA9");
    EXPECT_EQ(where.line, 4294967296u);
}

TEST(LogStreamer, EmitsOneWholeMessageWhenItIsDestroyed)
{
    LogSource source;
    std::string received;
    source.setSink(
        [&](level importance, const QString& category, const FileAndLine& where, const QString& text) {
            received += std::to_string(static_cast<int>(importance)) + "," + category.toStdString() + "," +
                        where.file.toStdString() + "," + std::to_string(where.line) + "," +
                        text.toStdString() + "|";
        });
    {
        LogStreamer message(source, level::warning, "area", FileAndLine("Part", 77));
        LogStreamer& same = message << QString("size ") << 3 << " x " << 4u << ", "
                                    << FileAndLine("Other", 5);
        EXPECT_EQ(&same, &message);
        EXPECT_EQ(received, "");
    }
    EXPECT_EQ(received, "6,area,Part,77,size 3 x 4, Other:5|");
}

TEST(LogStreamer, EmitsAMessageWithoutText)
{
    LogSource source;
    std::string received;
    source.setSink(joinInto(received));
    LogStreamer(source, level::error, QString(), here);
    EXPECT_EQ(received, "|");
}

TEST(LogStreamer, WritesValuesAsAStreamDoes)
{
    EXPECT_EQ(logged(0.1), "0.1");
    EXPECT_EQ(logged(0.123456789), "0.123457");
    EXPECT_EQ(logged(1e-7), "1e-07");
    EXPECT_EQ(logged(-123456789.0), "-1.23457e+08");
    EXPECT_EQ(logged(2.5f), "2.5");
    EXPECT_EQ(logged(std::int64_t{-9007199254740993}), "-9007199254740993");
    EXPECT_EQ(logged('c'), "c");
    EXPECT_EQ(logged("d\xC3\xA9j\xC3\xA0"), "d\xC3\xA9j\xC3\xA0");
    EXPECT_EQ(logged(std::string("\xF0\x9F\x98\x80")), "\xF0\x9F\x98\x80");
    EXPECT_EQ(logged(QString::fromUtf8("\xF0\x9F\x98\x80")), "\xF0\x9F\x98\x80");
}

TEST(LogStreamer, NumbersDoNotDependOnTheGlobalLocale)
{
    const CommaDecimals commas;
    EXPECT_EQ(logged(1234567.5), "1.23457e+06");
    EXPECT_EQ(logged(-0.5), "-0.5");
    EXPECT_EQ(logged(1234567), "1234567");
    EXPECT_EQ(logged(FileAndLine("Part", 1234567)), "Part:1234567");
}

TEST(LogSource, ASinkReplacesTheFormerOne)
{
    LogSource source;
    std::string first;
    std::string second;
    source.setSink(joinInto(first));
    emitText(source, "a");
    source.setSink(joinInto(second));
    emitText(source, "b");
    EXPECT_EQ(first, "a|");
    EXPECT_EQ(second, "b|");
}

TEST(LogSource, SourcesAreIndependent)
{
    LogSource one;
    LogSource other;
    std::string ofOne;
    std::string ofOther;
    one.setSink(joinInto(ofOne));
    other.setSink(joinInto(ofOther));
    emitText(one, "a");
    EXPECT_EQ(ofOne, "a|");
    EXPECT_EQ(ofOther, "");
}

TEST(LogSource, WritesOneLineToStandardErrorByDefault)
{
    LogSource source;
    testing::internal::CaptureStderr();
    LogStreamer(source, level::error, QString(), FileAndLine("Part", 77)) << "d\xC3\xA9j\xC3\xA0 " << 5;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "level 7: d\xC3\xA9j\xC3\xA0 5 (Part:77)\n");

    testing::internal::CaptureStderr();
    LogStreamer(source, level::notice, "area", FileAndLine("Part", 78)) << "two\nlines\r\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "level 2 [area]: two lines   (Part:78)\n");
}

TEST(LogSource, AnEmptySinkRestoresTheDefault)
{
    LogSource source;
    std::string received;
    source.setSink(joinInto(received));
    emitText(source, "a");
    source.setSink({});
    testing::internal::CaptureStderr();
    emitText(source, "b");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "level 7: b (logTest:12)\n");
    EXPECT_EQ(received, "a|");
}

TEST(LogSource, LinesOfSeveralThreadsStayWholeOnStandardError)
{
    LogSource source;
    testing::internal::CaptureStderr();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&source] {
            for (int i = 0; i < 100; ++i)
                emitText(source, QString(200, 'x'));
        });
    for (std::thread& thread : threads)
        thread.join();
    std::string expected;
    for (int i = 0; i < 400; ++i)
        expected += "level 7: " + std::string(200, 'x') + " (logTest:12)\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), expected);
}

TEST(LogSource, DropsWhatASinkThrows)
{
    LogSource source;
    int calls = 0;
    source.setSink([&calls](level, const QString&, const FileAndLine&, const QString&) {
        if (++calls == 1)
            throw std::runtime_error("full");
        throw calls;
    });
    EXPECT_NO_THROW(emitText(source, "a"));
    EXPECT_NO_THROW(emitText(source, "b"));
    EXPECT_NO_THROW(source.emitMessage(level::error, "", here, "c"));
    EXPECT_EQ(calls, 3);
    // The lock has been given back.
    std::thread([&source] { emitText(source, "d"); }).join();
    EXPECT_EQ(calls, 4);
}

TEST(LogSource, ASinkMayLog)
{
    LogSource source;
    std::string received;
    source.setSink([&](level, const QString&, const FileAndLine&, const QString& text) {
        received += text.toStdString() + "<";
        if (text.size() < 3)
            emitText(source, text + "x");
        received += text.toStdString() + ">";
    });
    emitText(source, "x");
    EXPECT_EQ(received, "x<xx<xxx<xxx>xx>x>");
}

TEST(LogSource, ASinkMayReplaceItself)
{
    LogSource source;
    std::string received;
    const auto owned = std::make_shared<std::string>("first");
    const std::weak_ptr<std::string> watched = owned;
    // Captured by value only: the text goes when the sink goes.
    source.setSink([&received, &source, text = std::string(*owned),
                    owned](level, const QString&, const FileAndLine&, const QString&) {
        source.setSink(joinInto(received));
        received += text + *owned + "|";
    });
    emitText(source, "a");
    emitText(source, "b");
    EXPECT_EQ(received, "firstfirst|b|");
    EXPECT_EQ(watched.use_count(), 1);
}

TEST(LogSource, WhatAReplacedSinkOwnsMayLogOnItsWayOut)
{
    LogSource source;
    std::string received;
    source.setSink([owned = std::make_shared<LogsLast>(source)](level, const QString&, const FileAndLine&,
                                                                const QString&) {});
    source.setSink(joinInto(received));
    EXPECT_EQ(received, "last|");
}

TEST(LogSource, CallsOfASinkNeverOverlap)
{
    constexpr int threadCount = 4;
    constexpr int messagesEach = 250;
    LogSource source;
    std::atomic<int> inside{0};
    int overlaps = 0;
    std::vector<std::vector<std::string>> received(threadCount);
    source.setSink([&](level, const QString&, const FileAndLine& where, const QString& text) {
        overlaps += inside.fetch_add(1) == 0 ? 0 : 1;
        std::this_thread::yield();
        received[where.line].push_back(text.toStdString());
        inside.fetch_sub(1);
    });

    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < threadCount; ++t)
        threads.emplace_back([&source, t] {
            for (int i = 0; i < messagesEach; ++i)
                LogStreamer(source, level::warning, QString(), FileAndLine("thread", t))
                    << "message " << i << QString(" of ") << "thread " << t;
        });
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(overlaps, 0);
    for (std::size_t t = 0; t < threadCount; ++t) {
        std::vector<std::string> expected;
        for (int i = 0; i < messagesEach; ++i)
            expected.push_back("message " + std::to_string(i) + " of thread " + std::to_string(t));
        EXPECT_EQ(received[t], expected) << t;
    }
}

TEST(LogSource, AReplacedSinkIsNotRunningAnyMore)
{
    for (int round = 0; round < 20; ++round) {
        LogSource source;
        std::atomic<bool> entered{false};
        std::atomic<bool> replacing{false};
        bool finished = false;
        source.setSink([&](level, const QString&, const FileAndLine&, const QString&) {
            entered = true;
            while (!replacing)
                std::this_thread::yield();
            for (int i = 0; i < 200; ++i)
                std::this_thread::yield();
            finished = true;
        });
        std::thread logging([&source] { emitText(source, "a"); });
        while (!entered)
            std::this_thread::yield();
        replacing = true;
        source.setSink([](level, const QString&, const FileAndLine&, const QString&) {});
        // A plain bool: only the lock orders the two threads here.
        EXPECT_TRUE(finished);
        logging.join();
    }
}

TEST(LogSource, SinksMayBeReplacedWhileOthersLog)
{
    LogSource source;
    int calls = 0;
    const LogSource::Sink counting = [&calls](level, const QString&, const FileAndLine&, const QString&) {
        ++calls;
    };
    source.setSink(counting);
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t)
        threads.emplace_back([&source] {
            for (int i = 0; i < 200; ++i)
                emitText(source, "a");
        });
    for (int i = 0; i < 200; ++i)
        source.setSink(counting);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(calls, 600);
}

TEST(DefaultLogSource, IsAlwaysTheSame)
{
    LogSource& first = vexel::log::defaultLogSource();
    LogSource* ofAnotherThread = nullptr;
    std::thread([&] { ofAnotherThread = &vexel::log::defaultLogSource(); }).join();
    EXPECT_EQ(&first, ofAnotherThread);
    std::string received;
    first.setSink(joinInto(received));
    emitText(vexel::log::defaultLogSource(), "a");
    first.setSink({});
    EXPECT_EQ(received, "a|");
}

namespace {

// Destroyed after all that is made on the first use of the log.
struct LogsAtExit
{
    ~LogsAtExit() { emitText(vexel::log::defaultLogSource(), "at exit"); }
};

[[noreturn]] void exitWithALoggingStatic()
{
    static const LogsAtExit early;
    vexel::log::defaultLogSource().setSink({});
    std::exit(0);
}

} // namespace

TEST(DefaultLogSourceDeathTest, OutlivesStaticObjects)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(exitWithALoggingStatic(), testing::ExitedWithCode(0), "level 7: at exit \\(logTest:12\\)");
}
