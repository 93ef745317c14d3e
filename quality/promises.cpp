#include "promises.h"

#include "downsample.h"
#include "measures.h"
#include "scenes.h"

#include <cmath>
#include <sstream>

namespace quality {

namespace {

/// Collects what does not hold for one strategy and factor.
class Promises
{
public:
    Promises(const std::string& strategy, int factor, Figures figures, std::vector<std::string>& broken)
        : m_name(strategy + " at factor " + std::to_string(factor)), m_figures(std::move(figures)),
          m_broken(broken)
    {}

    /// That a figure is there, and is `wanted` up to a tolerance.
    void isNear(const std::string& figure, double wanted, double tolerance)
    {
        const auto found = m_figures.find(figure);
        // Written so that NaN is not near anything.
        if (found != m_figures.end() && std::abs(found->second - wanted) <= tolerance)
            return;
        std::ostringstream text;
        text << m_name << ": " << figure << " is ";
        if (found == m_figures.end())
            text << "not there";
        else
            text << found->second;
        text << ", promised " << wanted;
        if (tolerance > 0.0)
            text << ", give or take " << tolerance;
        m_broken.push_back(text.str());
    }

    void is(const std::string& figure, double wanted) { isNear(figure, wanted, 0.0); }

private:
    std::string m_name;
    Figures m_figures;
    std::vector<std::string>& m_broken;
};

/// Content stays where it is. The Gaussian samples the pixel at the middle of its block or, where the middle is
/// between pixels, the one south-east of it: content comes to lie half a pixel to the north-west.
void checkPosition(const Strategy& strategy, int factor, Promises& promises)
{
    // Values on the ramp are floats of up to 250, and so are the Gaussian's sums.
    constexpr double roundingOfRamp = 0.001;
    const double shift = isGauss(strategy) && factor % 2 == 0 ? -0.5 : 0.0;
    promises.isNear("ramp.x", shift, roundingOfRamp);
    promises.isNear("ramp.y", shift, roundingOfRamp);
    promises.isNear("ramp.spread", 0.0, roundingOfRamp);
}

/// Block strategies, and the Gaussian that leaves holes out, make up nothing next to no-data, and fill no hole.
void checkHoles(const std::string& strategy, Promises& promises)
{
    promises.is("holes.outside", 0.0);
    promises.is("holes.filled", 0.0);
    promises.is("edge.lowest", double{edge::level});
    promises.is("edge.highest", double{edge::level});
    if (strategy == "average" || strategy == "max")
        promises.is("holes.lost", 0.0);
}

void checkHalo(Promises& promises)
{
    promises.is("halo.alpha", 0.0);
    promises.is("halo.differ", 0.0);
}

/// Tiles whose size is a multiple of the factor give the same bits as a single file.
void checkSeams(int factor, Promises& promises)
{
    promises.is("seams.land-96.differ", 0.0);
    promises.is("seams.holes-96.differ", 0.0);
    if (100 % factor == 0)
        promises.is("seams.land-100.differ", 0.0);
}

/// Which results are no-data, and which pixels are visible, is the same whether holes are left out or not.
void checkHolesLeftOut(const Results& gauss, const Results& leftOut, int factor,
                       std::vector<std::string>& broken)
{
    const auto check = [&](const char* scene, const auto& isKept) {
        const Raster one = gauss.read(scene);
        const Raster other = leftOut.read(scene);
        bool isSame = one.width == other.width && one.height == other.height;
        for (int y = 0; isSame && y < one.height; ++y)
            for (int x = 0; isSame && x < one.width; ++x)
                isSame = isKept(one, x, y) == isKept(other, x, y);
        if (!isSame)
            broken.push_back(std::string(gaussWithHolesLeftOut) + " at factor " + std::to_string(factor) +
                             " keeps other pixels of " + scene + " than gauss");
    };
    check("holes", [](const Raster& raster, int x, int y) { return raster.at(0, x, y) != noData; });
    for (const char* scene : {"on-white", "on-black"})
        check(scene, [](const Raster& raster, int x, int y) { return raster.at(3, x, y); });
}

void checkAlias(const Results& gauss, const Results& alias, int factor, std::vector<std::string>& broken)
{
    for (const Scene& scene : scenes()) {
        const Difference difference = differenceOf(gauss.read(scene.name), alias.read(scene.name));
        if (!difference.isSameSize || difference.pixels > 0.0)
            broken.push_back("gaussalias is not gauss at factor " + std::to_string(factor) + ", scene " +
                             scene.name);
    }
}

} // namespace

std::vector<std::string> brokenPromises(const std::string& resultFolder)
{
    std::vector<std::string> broken;
    const auto resultsOf = [&](const std::string& strategy, int factor) {
        return Results(resultFolder + "/" + strategy + "/" + std::to_string(factor), factor);
    };
    for (const int factor : factors) {
        for (const Strategy& strategy : strategies()) {
            Promises promises(strategy.name, factor, measured(resultsOf(strategy.name, factor)), broken);
            checkPosition(strategy, factor, promises);
            if (isBlockStrategy(strategy.name) || isGauss(strategy))
                checkSeams(factor, promises);
            if (isBlockStrategy(strategy.name) || strategy.holes == Holes::LeftOut) {
                checkHoles(strategy.name, promises);
                checkHalo(promises);
            }
        }
        checkHolesLeftOut(resultsOf("gauss", factor), resultsOf(gaussWithHolesLeftOut, factor), factor,
                          broken);
        checkAlias(resultsOf("gauss", factor), resultsOf("gaussalias", factor), factor, broken);
    }
    return broken;
}

} // namespace quality
