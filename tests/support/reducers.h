#ifndef VEXEL_TESTS_SUPPORT_REDUCERS_H
#define VEXEL_TESTS_SUPPORT_REDUCERS_H

#include "companion/PixelMatrix.h"
#include "downsamplers/DownsamplerBase.h"

#include <initializer_list>
#include <utility>

/// A block reducer without files, whose reduction can be called directly.
template <class Reducer>
class DirectReducer
{
public:
    /// `arguments` are those that the reducer takes beside files and resolution.
    template <class... Arguments>
    explicit DirectReducer(Arguments&&... arguments) : m_job(std::forward<Arguments>(arguments)...)
    {}

    /// Reduces a block of one row.
    float operator()(std::initializer_list<float> row) const
    {
        vexel::PixelMatrix<float> block =
            vexel::PixelMatrix<float>::Zero(1, static_cast<Eigen::Index>(row.size()));
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
        template <class... Arguments>
        explicit Reachable(Arguments&&... arguments) : Reducer(std::forward<Arguments>(arguments)...)
        {}

        using Reducer::representativeValue;
    };

    Reachable m_job;
};

#endif
