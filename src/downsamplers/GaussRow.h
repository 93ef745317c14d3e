#ifndef VEXEL_DOWNSAMPLERS_GAUSSROW_H
#define VEXEL_DOWNSAMPLERS_GAUSSROW_H

#include "downsamplers/StripReader.h"
#include "downsamplers/gausskernel.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace vexel {

/// The rows of a band that windows lie in. Those that a window has beyond them, which is beyond the raster's edge, are
/// the outermost ones.
template <class T>
struct RowsRead
{
    const StripPixels<T>& pixels;
    std::size_t band; ///< counted from 0
    std::int64_t first;
    std::int64_t end;

    const T* row(std::int64_t y) const { return pixels.row(band, std::min(std::max(y, first), end - 1)); }
};

/// Makes rows of blurred pixels, sampled: what one thread needs for it.
template <class T>
class GaussRow
{
public:
    explicit GaussRow(const GaussKernel& kernel) : m_kernel(&kernel) {}

    /// The pixels `columns` of row `sample`, blurred with what they are next to.
    float* blur(const RowsRead<T>& rows, std::int64_t sample, const SampledPixels& columns)
    {
        begin(rows, columns);
        gatherWindow(rows, sample, m_rows);
        m_kernel->sumRows(m_rows.data(), m_width, row(0));
        goOnBeyondTheEdges(1);
        m_kernel->sumColumns(row(0), columns, m_values.data());
        return m_values.data();
    }

    /// The same of valid pixels alone. Anything where there is none.
    ///
    /// @param alphas of the same rows, which tell which bytes are valid.
    float* blurValid(const RowsRead<T>& rows, const RowsRead<T>& alphas, std::int64_t sample,
                     const SampledPixels& columns)
    {
        begin(rows, columns);
        gatherWindow(rows, sample, m_rows);
        const ValidSums sums{row(0), row(1), row(2), row(3)};
        if constexpr (std::is_same_v<T, float>) {
            m_kernel->sumValidRows(m_rows.data(), m_width, sums);
        } else {
            gatherWindow(alphas, sample, m_alphas);
            m_kernel->sumValidRows(m_rows.data(), m_alphas.data(), m_width, sums);
        }
        goOnBeyondTheEdges(4);
        m_kernel->meanOfColumns(sums, columns, m_values.data());
        return m_values.data();
    }

private:
    void begin(const RowsRead<T>& rows, const SampledPixels& columns)
    {
        m_width = rows.pixels.columns();
        m_values.resize(static_cast<std::size_t>(columns.count));
    }

    void gatherWindow(const RowsRead<T>& rows, std::int64_t sample, std::vector<const T*>& window) const
    {
        window.clear();
        for (std::int64_t y = sample - m_kernel->reach(); y <= sample + m_kernel->reach(); ++y)
            window.push_back(rows.row(y));
    }

    /// One of four rows of sums, with room for what windows have beyond its ends.
    float* row(std::size_t which)
    {
        std::vector<float>& sums = m_sums[which];
        sums.resize(static_cast<std::size_t>(m_width + std::int64_t{2} * m_kernel->reach()));
        return sums.data() + m_kernel->reach();
    }

    void goOnBeyondTheEdges(std::size_t noRows)
    {
        for (std::size_t which = 0; which < noRows; ++which) {
            float* const first = row(which);
            std::fill(first - m_kernel->reach(), first, first[0]);
            std::fill_n(first + m_width, m_kernel->reach(), first[m_width - 1]);
        }
    }

    const GaussKernel* m_kernel;
    std::ptrdiff_t m_width = 0;
    std::vector<const T*> m_rows;
    std::vector<const T*> m_alphas;
    std::array<std::vector<float>, 4> m_sums;
    std::vector<float> m_values;
};

} // namespace vexel

#endif
