#include "measures.h"
#include "scenes.h"

#include <cmath>

namespace quality {

namespace {

/// Pixels may lie at the limit of a range to the last digit but one of their position.
constexpr double atLimit = 1e-9;

/// Mean and standard deviation of the pixels whose scene has frequencies in a range, in cycles per pixel of
/// the scene.
class Statistics
{
public:
    Statistics(const Raster& raster, double lowest, double highest)
    {
        const int y = raster.height / 2;
        for (int x = 0; x < raster.width; ++x) {
            const double frequency = sweep::frequency(raster.centreX(x));
            if (frequency > lowest + atLimit && frequency <= highest + atLimit)
                add(double{raster.at(0, x, y)});
        }
    }

    double mean() const { return m_mean; }
    double deviation() const { return std::sqrt(m_squares / m_count); }

private:
    void add(double value)
    {
        m_count += 1.0;
        const double before = value - m_mean;
        m_mean += before / m_count;
        m_squares += before * (value - m_mean);
    }

    double m_count = 0.0;
    double m_mean = 0.0;
    double m_squares = 0.0; // of the distances from the mean
};

/// Beyond half a cycle a pixel the scene itself is false.
constexpr double highestOfScene = 0.5;

} // namespace

void measureAliasing(const Results& results, Figures& figures)
{
    if (!results.has("sweep"))
        return;
    const Raster scene = drawn(sceneNamed("sweep"));
    const Raster result = results.read("sweep");
    const double highest = highestOfScene / results.factor();
    const auto contrast = [&](double from, double to) {
        return Statistics(result, from, to).deviation() / Statistics(scene, from, to).deviation();
    };
    figures["alias.kept"] = contrast(0.0, highest / 2.0);
    figures["alias.false"] = contrast(highest, highestOfScene);
    figures["alias.input"] = Statistics(scene, 0.0, highestOfScene).mean();
    figures["alias.mean"] = Statistics(result, 0.0, highestOfScene).mean();
}

} // namespace quality
