#include "measures.h"
#include "scenes.h"

namespace quality {

void measureSeams(const Results& results, Figures& figures)
{
    for (const SceneTiles& tiles : sceneTiles()) {
        if (!results.has(tiles.name) || !results.has(tiles.scene))
            continue;
        const Raster set = results.read(tiles.name);
        const Raster single = results.read(tiles.scene);
        const std::string name = std::string("seams.") + tiles.name;
        figures[name + ".width"] = set.width;
        figures[name + ".single"] = single.width;
        const Difference difference = differenceOf(set, single);
        if (!difference.isSameSize)
            continue;
        figures[name + ".differ"] = difference.pixels;
        figures[name + ".difference"] = difference.largest;
    }
}

} // namespace quality
