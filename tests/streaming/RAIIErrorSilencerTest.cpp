#include "streaming/RAIIErrorSilencer.h"
#include "companion/errorhandler.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <cpl_error.h>

#include <future>
#include <string>
#include <type_traits>

using vexel::gdal::RAIIErrorSilencer;

namespace {

static_assert(std::is_default_constructible_v<RAIIErrorSilencer> &&
              std::is_copy_assignable_v<RAIIErrorSilencer>);

int callsOfClientHandler = 0;

void clientHandler(CPLErr, int, const char*)
{
    ++callsOfClientHandler;
}

void fail(const std::string& message)
{
    CPLError(CE_Failure, CPLE_AppDefined, "%s", message.c_str());
}

/// GDAL's error handler is state of the process: every test leaves it as it was.
class ErrorSilencer : public testing::Test
{
protected:
    ErrorSilencer() : m_before(CPLSetErrorHandler(nullptr))
    {
        CPLSetErrorHandler(m_before);
        callsOfClientHandler = 0;
    }
    ~ErrorSilencer() override
    {
        CPLSetErrorHandler(m_before);
        CPLErrorReset();
    }

    bool logged(const std::string& message) const { return m_log.text().find(message) != std::string::npos; }

    LogCapture m_log;

private:
    CPLErrorHandler m_before;
};

} // namespace

TEST_F(ErrorSilencer, DropsMessagesWhileItLives)
{
    vexel::gdal::setErrorHandler(vexel::gdal::logErrorHandler);
    fail("before the scope");
    EXPECT_TRUE(logged("before the scope"));
    {
        const RAIIErrorSilencer silencer;
        fail("in the scope");
        EXPECT_FALSE(logged("in the scope"));
    }
    fail("after the scope");
    EXPECT_TRUE(logged("after the scope"));
    EXPECT_FALSE(logged("in the scope"));
    EXPECT_EQ(m_log.messages().size(), 2u);
}

TEST_F(ErrorSilencer, LeavesTheErrorStateOfGDALReadable)
{
    const RAIIErrorSilencer silencer;
    fail("still to be asked for");
    EXPECT_EQ(CPLGetLastErrorType(), CE_Failure);
    EXPECT_STREQ(CPLGetLastErrorMsg(), "still to be asked for");
}

TEST_F(ErrorSilencer, SilencesEveryThread)
{
    const RAIIErrorSilencer silencer;
    std::async(std::launch::async, [] { fail("elsewhere"); }).get();
    EXPECT_EQ(m_log.text(), "");
}

TEST_F(ErrorSilencer, EndsInTheLoggingHandlerWhateverWasThereBefore)
{
    CPLSetErrorHandler(clientHandler);
    fail("for the client");
    EXPECT_EQ(callsOfClientHandler, 1);
    {
        const RAIIErrorSilencer silencer;
        fail("for nobody");
    }
    EXPECT_EQ(m_log.text(), "");
    fail("for the log");
    EXPECT_TRUE(logged("for the log"));
    EXPECT_EQ(callsOfClientHandler, 1);
}

TEST_F(ErrorSilencer, InnermostOfSeveralEndsTheSilence)
{
    const RAIIErrorSilencer outer;
    {
        const RAIIErrorSilencer inner;
        fail("in both");
    }
    EXPECT_EQ(m_log.text(), "");
    fail("in the outer");
    EXPECT_TRUE(logged("in the outer"));
}

TEST_F(ErrorSilencer, AssignmentChangesNothing)
{
    RAIIErrorSilencer first;
    const RAIIErrorSilencer second;
    first = second;
    fail("in the scope");
    EXPECT_EQ(m_log.text(), "");
}
