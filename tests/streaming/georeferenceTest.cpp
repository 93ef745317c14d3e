#include "streaming/georeference.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

using namespace vexel;

namespace {

std::string textOfWorkspace(const Geotransform& geotransform, int columns, int rows)
{
    std::ostringstream text;
    text << workspaceOfGeotransform(geotransform, columns, rows);
    return text.str();
}

double lossOf(const Geotransform& geotransform, int columns, int rows)
{
    return lossOfGeotransform(geotransform, workspaceOfGeotransform(geotransform, columns, rows), columns,
                              rows);
}

} // namespace

TEST(GeoreferenceWorkspace, NorthUpRasterStartsAtItsOrigin)
{
    EXPECT_EQ(textOfWorkspace({100, 0.5, 0, 200, 0, -0.5}, 10, 20),
              "{x = [10000000, 10500000], y = [-20000000, -19000000], res = 50000, pixels = 10 x 20}");
}

TEST(GeoreferenceWorkspace, SouthUpRasterStartsAtItsFarEnd)
{
    EXPECT_EQ(textOfWorkspace({100, 0.5, 0, 200, 0, 0.5}, 10, 20),
              "{x = [10000000, 10500000], y = [-21000000, -20000000], res = 50000, pixels = 10 x 20}");
}

TEST(GeoreferenceWorkspace, MirroredRasterStartsAtItsWestEnd)
{
    EXPECT_EQ(textOfWorkspace({100, -0.5, 0, 200, 0, -0.5}, 10, 20),
              "{x = [9500000, 10000000], y = [-20000000, -19000000], res = 50000, pixels = 10 x 20}");
}

TEST(GeoreferenceWorkspace, PixelHeightOnlySetsTheBox)
{
    EXPECT_EQ(textOfWorkspace({0, 1, 0, 0, 0, -2}, 10, 10),
              "{x = [0, 1000000], y = [0, 2000000], res = 100000, pixels = 10 x 20}");
}

TEST(GeoreferenceWorkspace, RoundsHalfAwayFromZero)
{
    // 0.000025 and 0.000015 map units are 2.5 and 1.5 integer units.
    EXPECT_EQ(textOfWorkspace({-0.000025, 0.000015, 0, 0.000025, 0, -0.000015}, 4, 4),
              "{x = [-3, 5], y = [-3, 5], res = 2, pixels = 4 x 4}");
}

TEST(GeoreferenceWorkspace, IgnoresRotation)
{
    EXPECT_EQ(textOfWorkspace({100, 0.5, 7, 200, 9, -0.5}, 10, 20),
              textOfWorkspace({100, 0.5, 0, 200, 0, -0.5}, 10, 20));
}

TEST(GeoreferenceWorkspace, IsDefinedForAnyNumber)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(workspaceOfGeotransform({nan, nan, nan, nan, nan, nan}, 10, 10).res(), 1);
    EXPECT_EQ(workspaceOfGeotransform({0, inf, 0, 0, 0, -inf}, 10, 10).res(),
              std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(workspaceOfGeotransform({1e300, 1, 0, -1e300, 0, -1}, 1, 1).pixelWidth(),
              workspaceOfGeotransform({1e300, 1, 0, -1e300, 0, -1}, 1, 1).pixelWidth());
    EXPECT_TRUE(workspaceOfGeotransform({0, 0, 0, 0, 0, 0}, 10, 10).empty());
}

TEST(GeoreferenceLoss, IsNoneForSquarePixelsOfWholeUnits)
{
    EXPECT_NEAR(lossOf({100, 0.5, 0, 200, 0, -0.5}, 10, 20), 0.0, 1e-9);
    EXPECT_NEAR(lossOf({0, 1e-5, 0, 0, 0, -1e-5}, 1000000, 1000000), 0.0, 1e-6);
}

TEST(GeoreferenceLoss, IsThatOfTheFarCornerWherePixelSizesAreRounded)
{
    // 0.300004 is kept as 0.3: after 100000 columns and rows that is 0.4 each way.
    EXPECT_NEAR(lossOf({0, 0.300004, 0, 0, 0, -0.300004}, 100000, 100000), std::hypot(0.4, 0.4) / 0.300004,
                1e-6);
}

TEST(GeoreferenceLoss, CountsRotationAndPixelsThatAreNotSquare)
{
    // The lower corners lie 20 rows of 7 farther east, the right ones 10 columns of 9 farther north.
    EXPECT_NEAR(lossOf({0, 0.5, 7, 0, 9, -0.5}, 10, 20), std::hypot(140, 90) / 0.5, 1e-9);
    EXPECT_NEAR(lossOf({0, 0.5, 0, 0, 0, -0.75}, 10, 20), 20 * 0.25 / 0.5, 1e-9);
    // South up: the rows are kept in the order of the file.
    EXPECT_NEAR(lossOf({0, 1, 0, 0, 0, 1}, 10, 20), 20.0, 1e-9);
}

TEST(GeoreferenceLoss, IsNoNumberOfPixelsForWhatIsNone)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(lossOf({nan, 1, 0, 0, 0, -1}, 10, 10)));
    EXPECT_FALSE(std::isfinite(lossOf({5, 0, 0, 0, 0, 0}, 10, 10)));
}

TEST(GeoreferencePixelShape, LooksAtTheSignedRatio)
{
    EXPECT_FALSE(hasSuspiciousPixelShape({0, 0.5, 0, 0, 0, -0.5}));
    EXPECT_FALSE(hasSuspiciousPixelShape({0, 7, 0, 0, 0, -0.5}));
    EXPECT_TRUE(hasSuspiciousPixelShape({0, 0.5, 0, 0, 0, 0.5}));
    EXPECT_TRUE(hasSuspiciousPixelShape({0, -0.5, 0, 0, 0, -0.5}));
    EXPECT_TRUE(hasSuspiciousPixelShape({0, 2, 0, 0, 0, 1}));
    EXPECT_FALSE(hasSuspiciousPixelShape({0, 1, 0, 0, 0, 2}));
    EXPECT_FALSE(hasSuspiciousPixelShape({0, 0.99998, 0, 0, 0, 1}));
    EXPECT_TRUE(hasSuspiciousPixelShape({0, 0.999995, 0, 0, 0, 1}));
    EXPECT_TRUE(hasSuspiciousPixelShape({0, 1, 0, 0, 0, 0}));
}

TEST(GeoreferenceGeotransform, HasSquarePixelsNorthUp)
{
    const Geotransform geotransform =
        geotransformOfWorkspace(Workspace(10000000, -20000000, 10500000, -19000000, 50000));
    const Geotransform expected = {10000000 * 1e-5, 50000 * 1e-5, 0.0, -20000000 * -1e-5, 0.0, 50000 * -1e-5};
    EXPECT_EQ(geotransform, expected);
}
