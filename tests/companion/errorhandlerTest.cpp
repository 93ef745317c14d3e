#include "companion/errorhandler.h"

#include "companion/log.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

namespace {

// Puts GDAL's own handler back, whatever the test has installed.
class KeepHandler
{
public:
    KeepHandler() : m_before(CPLSetErrorHandler(CPLDefaultErrorHandler)) {}
    ~KeepHandler() { CPLSetErrorHandler(m_before); }
    KeepHandler(const KeepHandler&) = delete;
    KeepHandler& operator=(const KeepHandler&) = delete;

private:
    CPLErrorHandler m_before;
};

std::string recorded;

void record(CPLErr severity, int number, const char* message)
{
    recorded += std::to_string(severity) + " " + std::to_string(number) + " " + message + "\n";
}

struct LevelCase
{
    const char* name;
    CPLErr severity;
    int level;
};

class LogErrorHandler : public testing::TestWithParam<LevelCase>
{};

} // namespace

TEST(SetErrorHandler, InstallsTheHandlerForTheWholeProcess)
{
    const KeepHandler keep;
    recorded.clear();
    vexel::gdal::setErrorHandler(record);
    CPLError(CE_Warning, 17, "%s", "here");
    std::thread([] { CPLError(CE_Failure, 18, "%s", "there"); }).join();
    EXPECT_EQ(recorded, "2 17 here\n3 18 there\n");
}

TEST(SilentErrorHandler, DropsEveryMessage)
{
    const KeepHandler keep;
    const LogCapture log;
    testing::internal::CaptureStderr();
    vexel::gdal::setErrorHandler(vexel::gdal::silentErrorHandler);
    CPLError(CE_Failure, CPLE_OpenFailed, "%s", "lost");
    CPLError(CE_Warning, CPLE_AppDefined, "%s", "lost");
    vexel::gdal::silentErrorHandler(CE_Fatal, 1, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(log.text(), "");
}

TEST_P(LogErrorHandler, LogsEachSeverityAtItsLevel)
{
    const LogCapture log;
    vexel::gdal::logErrorHandler(GetParam().severity, 4, "caf\xC3\xA9: no such file");
    ASSERT_EQ(log.messages().size(), 1u);
    const LogCapture::Message& message = log.messages()[0];
    EXPECT_EQ(message.level, GetParam().level);
    EXPECT_EQ(message.category, "");
    EXPECT_EQ(message.file, "errorhandler");
    EXPECT_GT(message.line, 0u);
    EXPECT_EQ(message.text, "GDAL 4: caf\xC3\xA9: no such file");
}

INSTANTIATE_TEST_SUITE_P(All, LogErrorHandler,
                         testing::Values(LevelCase{"None", CE_None, 2}, LevelCase{"Debug", CE_Debug, 2},
                                         LevelCase{"Warning", CE_Warning, 6},
                                         LevelCase{"Failure", CE_Failure, 7},
                                         LevelCase{"Fatal", CE_Fatal, 7}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(LogErrorHandler, LogsWhatGdalReports)
{
    const KeepHandler keep;
    const LogCapture log;
    vexel::gdal::setErrorHandler(vexel::gdal::logErrorHandler);
    CPLError(CE_Failure, CPLE_OpenFailed, "cannot open %s", "x.tif");
    CPLError(CE_Warning, CPLE_AppDefined, "%s", "odd");
    EXPECT_EQ(log.text(), "7: GDAL 4: cannot open x.tif\n6: GDAL 1: odd");
}

TEST(LogErrorHandler, TakesANullMessageForAnEmptyOne)
{
    const LogCapture log;
    vexel::gdal::logErrorHandler(CE_Failure, -3, nullptr);
    EXPECT_EQ(log.text(), "7: GDAL -3: ");
}

TEST(LogErrorHandler, LetsNoExceptionOfASinkIntoGdal)
{
    vexel::log::defaultLogSource().setSink(
        [](auto, const auto&, const auto&, const auto&) { throw std::runtime_error("full"); });
    EXPECT_NO_THROW(vexel::gdal::logErrorHandler(CE_Failure, 1, "x"));
    vexel::log::defaultLogSource().setSink({});
}
