#ifndef VEXEL_TESTS_SUPPORT_REDUCERS_H
#define VEXEL_TESTS_SUPPORT_REDUCERS_H

#include "companion/PixelMatrix.h"
#include "downsamplers/DownsamplerBase.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"

#include <initializer_list>
#include <utility>

/// A block reducer whose reduction can be called directly. It has to have a raster to work on, which it makes.
template <class Reducer>
class DirectReducer
{
public:
    /// `arguments` are those that the reducer's constructor takes beyond the common ones.
    template <class... Arguments>
    explicit DirectReducer(Arguments&&... arguments)
        : m_job(madeInput(m_folder), m_folder / "out.tif", QString(), 2.0, vexel::ImageAlphaType::NoAlpha,
                vexel::GdalFileType::SingleFile, std::forward<Arguments>(arguments)...)
    {
    }

    /// Reduces a block of one row.
    float operator()(std::initializer_list<float> row) const
    {
        vexel::PixelMatrix<float> block(1, static_cast<Eigen::Index>(row.size()));
        Eigen::Index column = 0;
        for (const float value : row)
            block(0, column++) = value;
        return m_job.representativeValue(block);
    }

    /// Reduces the whole matrix.
    float operator()(vexel::PixelMatrix<float>& block) const { return m_job.representativeValue(block); }

    /// Reduces the part of the matrix that starts at (row, column).
    float operator()(vexel::PixelMatrix<float>& matrix, Eigen::Index row, Eigen::Index column,
                     Eigen::Index rows, Eigen::Index columns) const
    {
        return m_job.representativeValue(matrix.block(row, column, rows, columns));
    }

private:
    struct Reachable : Reducer
    {
        using Reducer::Reducer;
        using Reducer::representativeValue;
    };

    static QString madeInput(const TempFolder& folder)
    {
        rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Float32),
                      [](int, int, int) { return 1.0; });
        return folder / "in.tif";
    }

    TempFolder m_folder;
    Reachable m_job;
};

#endif
