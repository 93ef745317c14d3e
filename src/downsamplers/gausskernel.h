#ifndef VEXEL_DOWNSAMPLERS_GAUSSKERNEL_H
#define VEXEL_DOWNSAMPLERS_GAUSSKERNEL_H

#include <cstddef>
#include <vector>

namespace vexel {

/// Pixels of a row that a convolution is wanted at, where `origin` is the pixel that the row begins with.
struct SampledPixels
{
    const std::ptrdiff_t* first;
    std::ptrdiff_t count;
    std::ptrdiff_t origin;

    std::ptrdiff_t at(std::ptrdiff_t j) const { return first[j] - origin; }
};

/// What a convolution along columns makes of the valid pixels of a row of windows. Arrays of as many as there are
/// columns.
struct ValidSums
{
    float* sums;    ///< of weighted values
    float* weights; ///< of the pixels that these are of
    float* lowest;  ///< of the values, infinity where there is none
    float* highest; ///< of the values, minus infinity where there is none
};

/// A Gaussian, sampled at whole pixels, cut off and scaled to the sum 1, to be applied where it is wanted only.
///
/// The order and rounding of the operations are fixed: the same pixels give the same bits in any strip, on any number of
/// threads and on any processor.
class GaussKernel
{
public:
    /// @param sigma in pixels.
    /// @param reach pixels on either side of the middle that count.
    GaussKernel(double sigma, int reach);

    int reach() const { return m_reach; }
    /// Pixels of a window: the middle one and those that count on either side.
    int size() const { return 2 * m_reach + 1; }

    /// out[x] := the weighted sum of column x of the rows of a window.
    ///
    /// @param rows `size()` of them, from north to south; one row may stand for several.
    void sumRows(const unsigned char* const* rows, std::ptrdiff_t columns, float* out) const;
    void sumRows(const float* const* rows, std::ptrdiff_t columns, float* out) const;

    /// out[j] := the weighted sum of the window round sample j.
    ///
    /// @param row its pixels go on for `reach()` before its begin and after its end.
    void sumColumns(const float* row, const SampledPixels& samples, float* out) const;

    /// As `sumRows`, of valid pixels alone: of bytes those whose alpha is not 0; of floats those not
    /// below -9999.999.
    ///
    /// @param alphas rows of the same window.
    void sumValidRows(const unsigned char* const* rows, const unsigned char* const* alphas,
                      std::ptrdiff_t columns, const ValidSums& out) const;
    void sumValidRows(const float* const* rows, std::ptrdiff_t columns, const ValidSums& out) const;

    /// out[j] := the weighted mean of the valid pixels of the window round sample j, no less than the lowest and no more
    /// than the highest of them. NaN or infinite where there is none.
    ///
    /// @param rows go on as those of `sumColumns`.
    void meanOfColumns(const ValidSums& rows, const SampledPixels& samples, float* out) const;

private:
    int m_reach;
    std::vector<float> m_weights; // of a whole window
};

} // namespace vexel

#endif
