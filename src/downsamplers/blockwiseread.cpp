#include "downsamplers/blockwiseread.h"

#include "streaming/gdaldataset.h"

#include <gdal_priv.h>

namespace vexel {

std::optional<FileLayout> layoutOf(GDALStreamer& set, std::size_t file)
{
    const GDALMutex lock;
    if (!set.open(file))
        return std::nullopt;
    GDALDataset& dataset = *set.data(file);
    FileLayout layout{dataset.GetRasterXSize(), dataset.GetRasterYSize(), false};
    for (int band = 1; band <= dataset.GetRasterCount(); ++band) {
        int columns = 0;
        int rows = 0;
        dataset.GetRasterBand(band)->GetBlockSize(&columns, &rows);
        layout.blockColumns = std::max(std::min(layout.blockColumns, columns), 1);
        layout.blockRows = std::max(std::min(layout.blockRows, rows), 1);
    }
    layout.isInterleaved = bandsShareBlocks(dataset);
    return layout;
}

} // namespace vexel
