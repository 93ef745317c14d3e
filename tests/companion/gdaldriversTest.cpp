#include "companion/gdaldrivers.h"

#include <gdal_frmts.h>
#include <gdal_priv.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>
#include <vector>

namespace {

// Each case runs in a process of its own, where nothing is registered yet.
class RegisterDrivers : public testing::Test
{
protected:
    RegisterDrivers() { testing::GTEST_FLAG(death_test_style) = "threadsafe"; }
};

using RegisterDriversDeathTest = RegisterDrivers;

enum Outcome : int
{
    AsExpected = 0,
    StartedWithDrivers = 11,
    LacksDrivers = 12,
    ChangedDrivers = 13
};

int driverCount()
{
    return GetGDALDriverManager()->GetDriverCount();
}

bool hasDriver(const char* name)
{
    return GetGDALDriverManager()->GetDriverByName(name) != nullptr;
}

Outcome registerFromSeveralThreads()
{
    if (driverCount() != 0)
        return StartedWithDrivers;
    std::vector<std::thread> threads;
    std::vector<int> counts(8);
    for (int& count : counts)
        threads.emplace_back([&count] {
            vexel::gdal::registerDrivers();
            count = driverCount();
        });
    for (std::thread& thread : threads)
        thread.join();
    for (const int count : counts)
        if (count != driverCount())
            return ChangedDrivers;
    return hasDriver("GTiff") && hasDriver("MEM") && hasDriver("PNG") && hasDriver("JPEG") ? AsExpected
                                                                                           : LacksDrivers;
}

Outcome registerBesideTheApplication()
{
    if (driverCount() != 0)
        return StartedWithDrivers;
    GDALRegister_GTiff();
    vexel::gdal::registerDrivers();
    return driverCount() == 1 && hasDriver("GTiff") ? AsExpected : ChangedDrivers;
}

Outcome registerAgainAfterTheApplicationTookOneAway()
{
    vexel::gdal::registerDrivers();
    if (!hasDriver("PNG"))
        return LacksDrivers;
    GetGDALDriverManager()->DeregisterDriver(GetGDALDriverManager()->GetDriverByName("PNG"));
    vexel::gdal::registerDrivers();
    return hasDriver("PNG") ? ChangedDrivers : AsExpected;
}

} // namespace

TEST_F(RegisterDriversDeathTest, MakesAllDriversKnownToEveryThread)
{
    EXPECT_EXIT(std::_Exit(registerFromSeveralThreads()), testing::ExitedWithCode(AsExpected), "");
}

TEST_F(RegisterDriversDeathTest, LeavesTheChoiceOfTheApplicationAlone)
{
    EXPECT_EXIT(std::_Exit(registerBesideTheApplication()), testing::ExitedWithCode(AsExpected), "");
}

TEST_F(RegisterDriversDeathTest, BringsNoDriverBack)
{
    EXPECT_EXIT(std::_Exit(registerAgainAfterTheApplicationTookOneAway()),
                testing::ExitedWithCode(AsExpected), "");
}
