#include "downsamplers/blockwiseread.h"

#include <gdal_priv.h>

#include <string_view>

namespace vexel {

std::optional<FileLayout> KeptSet::layoutOf(std::size_t file)
{
    const GDALMutex lock;
    if (!m_set.open(file))
        return std::nullopt;
    GDALDataset& dataset = *m_set.data(file);
    FileLayout layout{dataset.GetRasterXSize(), dataset.GetRasterYSize(), false, false};
    for (int band = 1; band <= dataset.GetRasterCount(); ++band) {
        int columns = 0;
        int rows = 0;
        dataset.GetRasterBand(band)->GetBlockSize(&columns, &rows);
        layout.blockColumns = std::max(std::min(layout.blockColumns, columns), 1);
        layout.blockRows = std::max(std::min(layout.blockRows, rows), 1);
    }
    const char* interleave = dataset.GetMetadataItem("INTERLEAVE", "IMAGE_STRUCTURE");
    layout.isInterleaved = interleave && std::string_view(interleave) == "PIXEL";
    // The rows of a TIFF are as independent as its tiles.
    const bool isTiff =
        dataset.GetDriver() && std::string_view(dataset.GetDriver()->GetDescription()) == "GTiff";
    layout.isRowByRow = !isTiff && layout.blockRows == 1 && layout.blockColumns == dataset.GetRasterXSize();
    return layout;
}

} // namespace vexel
