#include "streaming/gdalmessages.h"

#include <cpl_conv.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

using vexel::EachGdalMessageOnce;
using vexel::GdalMessages;
using vexel::HeldGdalMessages;

namespace {

std::vector<std::string>* heard = nullptr;

void CPL_STDCALL hear(CPLErr severity, CPLErrorNum number, const char* text)
{
    errno = EBADF;
    heard->push_back(std::to_string(severity) + "/" + std::to_string(number) + " " + text);
}

void CPL_STDCALL raise(CPLErr severity, CPLErrorNum number, const char* text)
{
    hear(severity, number, text);
    if (severity == CE_Failure)
        throw std::runtime_error(text);
}

void CPL_STDCALL print(CPLErr severity, CPLErrorNum number, const char* text)
{
    std::cerr << severity << "/" << number << " " << text << std::endl;
}

void CPL_STDCALL printAndRaise(CPLErr severity, CPLErrorNum number, const char* text)
{
    print(severity, number, text);
    throw std::runtime_error(text);
}

/// One within another, as a file is opened within a transfer. GDAL ends the process.
void sayFatal(CPLErrorHandler handler)
{
    CPLPushErrorHandler(handler);
    const GdalMessages transfer;
    CPLError(CE_Warning, 1, "of the transfer");
    const GdalMessages opening;
    CPLError(CE_Failure, 4, "of the file");
    CPLError(CE_Fatal, 2, "%s", "100% of memory taken");
}

/// Keeps what the application's handler hears.
class Application : public testing::Test
{
protected:
    Application()
    {
        heard = &m_heard;
        CPLPushErrorHandler(hear);
    }
    ~Application() override
    {
        CPLPopErrorHandler();
        heard = nullptr;
    }

    std::vector<std::string> m_heard;
};

using GdalMessagesTest = Application;

} // namespace

TEST_F(GdalMessagesTest, AreHandedOnInTheirOrderAtTheEnd)
{
    {
        const GdalMessages messages;
        CPLError(CE_Warning, 1, "first");
        CPLError(CE_Failure, 4, "%s", "100% second");
        EXPECT_TRUE(m_heard.empty());
        errno = EDOM;
    }
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(m_heard, (std::vector<std::string>{"2/1 first", "3/4 100% second"}));
}

TEST_F(GdalMessagesTest, TellOfTheFirstFailureThatCounts)
{
    GdalMessages messages;
    EXPECT_FALSE(messages.hasFailure());
    CPLError(CE_Warning, 1, "warning");
    EXPECT_FALSE(messages.hasFailure());
    CPLError(CE_Failure, 1, "one");
    CPLError(CE_Failure, 1, "two");
    EXPECT_TRUE(messages.hasFailure());
    EXPECT_EQ(messages.firstFailure(), "one");
    messages.ignoreSoFar();
    EXPECT_FALSE(messages.hasFailure());
    EXPECT_EQ(messages.firstFailure(), "");
    CPLError(CE_Failure, 1, "three");
    EXPECT_EQ(messages.firstFailure(), "three");
}

TEST_F(GdalMessagesTest, LetExceptionsOfTheHandlerOutOnceAllAreHandedOn)
{
    CPLPushErrorHandler(raise);
    const auto two = [] {
        const GdalMessages messages;
        CPLError(CE_Failure, 1, "one");
        CPLError(CE_Failure, 1, "two");
    };
    try {
        two();
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "one");
    }
    CPLPopErrorHandler();
    EXPECT_EQ(m_heard.size(), 2u);
}

TEST_F(GdalMessagesTest, DropExceptionsOfTheHandlerWhereTheyAreAskedTo)
{
    CPLPushErrorHandler(raise);
    EXPECT_NO_THROW({
        const GdalMessages messages(GdalMessages::Fate::HandedOnNoThrow);
        CPLError(CE_Failure, 1, "one");
        CPLError(CE_Failure, 1, "two");
    });
    CPLPopErrorHandler();
    EXPECT_EQ(m_heard.size(), 2u);
}

// ---- Dropped

TEST_F(GdalMessagesTest, ThatAreDroppedAreHandedToNobody)
{
    {
        const GdalMessages messages(GdalMessages::Fate::Dropped);
        CPLError(CE_Warning, 1, "warning");
        CPLError(CE_Failure, 1, "one");
        const GdalMessages opening;
        CPLError(CE_Failure, 1, "two");
    }
    EXPECT_TRUE(m_heard.empty());
}

TEST_F(GdalMessagesTest, ThatAreDroppedIncludeThoseForDebugging)
{
    CPLSetConfigOption("CPL_DEBUG", "ON");
    {
        const GdalMessages messages(GdalMessages::Fate::Dropped);
        CPLDebug("TEST", "dropped");
    }
    CPLDebug("TEST", "heard");
    CPLSetConfigOption("CPL_DEBUG", nullptr);
    EXPECT_EQ(m_heard.size(), 1u);
}

TEST_F(GdalMessagesTest, ThatAreDroppedLeaveTheirFirstFailureOnly)
{
    GdalMessages messages(GdalMessages::Fate::Dropped);
    CPLError(CE_Warning, 1, "warning");
    EXPECT_FALSE(messages.hasFailure());
    EXPECT_EQ(messages.firstFailure("none"), "none");
    for (int block = 0; block < 3; ++block)
        CPLError(CE_Failure, 1, "block %d", block);
    EXPECT_TRUE(messages.hasFailure());
    EXPECT_EQ(messages.firstFailure("none"), "block 0");
    messages.ignoreSoFar();
    EXPECT_FALSE(messages.hasFailure());
    EXPECT_EQ(messages.firstFailure("none"), "none");
    CPLError(CE_Failure, 1, "another");
    EXPECT_EQ(messages.firstFailure("none"), "another");
    EXPECT_EQ(messages.take().size(), 1u);
}

TEST_F(GdalMessagesTest, WithoutTextCountAsFailures)
{
    const GdalMessages messages(GdalMessages::Fate::Dropped);
    CPLError(CE_Failure, 1, "%s", "");
    CPLError(CE_Failure, 1, "what came of it");
    EXPECT_TRUE(messages.hasFailure());
    EXPECT_EQ(messages.firstFailure("no text"), "no text");
}

// ---- Held for later

TEST_F(GdalMessagesTest, AreHeldUntilTheirTurn)
{
    HeldGdalMessages held;
    {
        const HeldGdalMessages::Collector collector(held);
        CPLError(CE_Warning, 1, "first");
        const GdalMessages ofATransfer;
        CPLError(CE_Failure, 4, "%s", "100% second");
    }
    CPLError(CE_Warning, 1, "in between");
    {
        const HeldGdalMessages::Collector collector(held);
        CPLError(CE_Warning, 1, "third");
    }
    EXPECT_EQ(m_heard, (std::vector<std::string>{"2/1 in between"}));
    m_heard.clear();
    errno = EDOM;
    held.handOn();
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(m_heard, (std::vector<std::string>{"2/1 first", "3/4 100% second", "2/1 third"}));
    held.handOn();
    EXPECT_EQ(m_heard.size(), 3u) << "they are forgotten";
}

TEST_F(GdalMessagesTest, ThatAreHeldAreDroppedWithTheirHolder)
{
    {
        HeldGdalMessages held;
        const HeldGdalMessages::Collector collector(held);
        CPLError(CE_Failure, 1, "one");
    }
    EXPECT_TRUE(m_heard.empty());
}

TEST_F(GdalMessagesTest, ThatAreHeldAreToldOnceWhereOthersAre)
{
    const EachGdalMessageOnce once;
    for (int k = 0; k < 3; ++k) {
        HeldGdalMessages held;
        {
            const HeldGdalMessages::Collector collector(held);
            CPLError(CE_Failure, 1, "one");
        }
        held.handOn();
    }
    EXPECT_EQ(m_heard, (std::vector<std::string>{"3/1 one"}));
}

TEST_F(GdalMessagesTest, ThatAreHeldLetExceptionsOfTheHandlerOutInTheirTurn)
{
    CPLPushErrorHandler(raise);
    HeldGdalMessages held;
    EXPECT_NO_THROW({
        const HeldGdalMessages::Collector collector(held);
        CPLError(CE_Failure, 1, "one");
        CPLError(CE_Failure, 1, "two");
    });
    EXPECT_TRUE(m_heard.empty());
    EXPECT_THROW(held.handOn(), std::runtime_error);
    CPLPopErrorHandler();
    EXPECT_EQ(m_heard.size(), 2u);
}

TEST_F(GdalMessagesTest, DoNotThrowWhileAnotherExceptionFlies)
{
    CPLPushErrorHandler(raise);
    const auto fail = [] {
        const GdalMessages messages;
        CPLError(CE_Failure, 1, "of GDAL");
        throw std::logic_error("ours");
    };
    EXPECT_THROW(fail(), std::logic_error);
    CPLPopErrorHandler();
    EXPECT_EQ(m_heard, std::vector<std::string>{"3/1 of GDAL"});
}

#ifndef _WIN32
TEST_F(GdalMessagesTest, HandFatalOnesAndThoseBeforeOnBeforeGdalEndsTheProcess)
{
    const char* const all = "^2/1 of the transfer\n3/4 of the file\n4/2 100% of memory taken\n";
    EXPECT_EXIT(sayFatal(print), testing::KilledBySignal(SIGABRT), all);
    EXPECT_EXIT(sayFatal(printAndRaise), testing::KilledBySignal(SIGABRT), all);
}
#endif

TEST_F(GdalMessagesTest, OfTheSameNumberAndTextAreHandedOnOnceWhereTheyAreToBe)
{
    const auto transfer = [] {
        const GdalMessages messages;
        CPLError(CE_Failure, 1, "one");
        CPLError(CE_Failure, 1, "one");
        CPLError(CE_Failure, 2, "one");
        const GdalMessages opening;
        CPLError(CE_Failure, 1, "two");
    };
    const std::vector<std::string> once{"3/1 one", "3/2 one", "3/1 two"};
    for (int step = 0; step < 2; ++step) {
        m_heard.clear();
        const EachGdalMessageOnce eachOnce;
        transfer();
        EXPECT_EQ(m_heard, once) << "step " << step;
        transfer();
        EXPECT_EQ(m_heard, once) << "step " << step;
        {
            const EachGdalMessageOnce anew;
            transfer();
        }
        EXPECT_EQ(m_heard.size(), 6u);
        transfer();
        EXPECT_EQ(m_heard.size(), 6u) << "step " << step;
    }
    m_heard.clear();
    transfer();
    EXPECT_EQ(m_heard.size(), 4u) << "no step";
}

TEST_F(GdalMessagesTest, CountAsFailuresEvenIfTheyWereHandedOnBefore)
{
    const EachGdalMessageOnce eachOnce;
    for (int transfer = 0; transfer < 2; ++transfer) {
        const GdalMessages messages;
        CPLError(CE_Failure, 1, "one");
        EXPECT_EQ(messages.firstFailure(), "one");
    }
    EXPECT_EQ(m_heard.size(), 1u);
}

TEST_F(GdalMessagesTest, OfManyKindsEndWithAWarning)
{
    const EachGdalMessageOnce eachOnce;
    for (int transfer = 0; transfer < 2; ++transfer) {
        const GdalMessages messages;
        for (int k = 0; k < 1003; ++k)
            CPLError(CE_Failure, 1, "block %d", k);
    }
    ASSERT_EQ(m_heard.size(), 1001u);
    EXPECT_EQ(m_heard[999], "3/1 block 999");
    EXPECT_EQ(m_heard[1000], "2/1 There were 1000 different messages; the rest is left out");
}
