#include "companion/gaussrecursion.h"

#include "companion/compilerhints.h"
#include "companion/parallelrows.h"

#include <algorithm>
#include <complex>
#include <vector>

#ifdef __SSE2__
#include <xmmintrin.h>
#endif

namespace vexel {

namespace {

using Coefficients = GaussRecursion::Coefficients;

/// Columns that are filtered side by side, and rows of them that are filtered at a time: 64 KiB of forward responses.
/// The states in front of each so many rows take as much as eight columns.
constexpr std::ptrdiff_t columnsAtATime = 128;
constexpr std::ptrdiff_t rowsAtATime = 128;

/// Rows that are turned into columns to be filtered side by side, one a vector lane. A multiple of every vector width,
/// and a cache line of floats.
constexpr std::ptrdiff_t rowsTurned = 16;

/// Columns of so many rows that are turned at a time: they stay in the nearest cache.
constexpr std::ptrdiff_t columnsTurned = 64;

/// How long before they are needed rows are asked for.
constexpr std::ptrdiff_t rowsAhead = 8;

/// Roughly, to tell whether a team of threads pays.
constexpr std::ptrdiff_t nanosecondsPerPixel = 2;

/// The part (cosine cos(wt) + sine sin(wt)) exp(-decay t) of the fit, with t in standard deviations.
struct DampedCosine
{
    double cosine;
    double sine;
    double decay;
    double frequency;
};

// Each minimises the largest deviation from exp(-t²/2) for t ≥ 0, once scaled to the same integral.
constexpr std::array<DampedCosine, 2> fitOfOrder2{
    {{0.8794951524173352, 1.744273811947493, 1.2617485584439294, 0.8074735107531777}}};
constexpr std::array<DampedCosine, 2> fitOfOrder3{
    {{-0.7728509952139817, 0.9920012788213765, 1.481080110004796, 1.460985306352379},
     {1.7224422878782244, 0.0, 1.5412348739137216, 0.0}}};
constexpr std::array<DampedCosine, 2> fitOfOrder4{
    {{1.6194411475754398, 3.4259184813593277, 1.756063692287148, 0.6271598227706522},
     {-0.6472581739790457, -0.19493176792554073, 1.6899432788219053, 1.9927202136325814}}};

const std::array<DampedCosine, 2>& fitOf(int order)
{
    return order == 2 ? fitOfOrder2 : order == 3 ? fitOfOrder3 : fitOfOrder4;
}

/// A mode by its response at distance n, the real part of weight times pole^n.
struct Mode
{
    std::complex<double> pole;
    std::complex<double> weight;
};

Coefficients coefficientsOf(const Mode& mode)
{
    const std::complex<double> backward = mode.weight * mode.pole;
    const std::complex<double> gain = 1.0 / (1.0 - mode.pole);
    return {mode.pole.real(), mode.pole.imag(), mode.weight.real(), mode.weight.imag(),
            backward.real(),  backward.imag(),  gain.real(),        gain.imag()};
}

/// The real and the imaginary part of each mode's state, one after the other, of up to N lines side by side.
template <std::size_t M, std::ptrdiff_t N>
struct States
{
    double re[M][N];
    double im[M][N];
};

/// The states after a row of samples has been the input for ever.
template <std::size_t M, std::ptrdiff_t N>
VEXEL_ALWAYS_INLINE void settleOn(const float* __restrict samples, std::ptrdiff_t lines,
                                  const Coefficients* modes, States<M, N>& states)
{
    for (std::size_t k = 0; k < M; ++k)
        for (std::ptrdiff_t line = 0; line < lines; ++line) {
            const auto sample = static_cast<double>(samples[line]);
            states.re[k][line] = modes[k].gainRe * sample;
            states.im[k][line] = modes[k].gainIm * sample;
        }
}

/// Feeds one sample to a line: state := pole state + sample.
template <std::size_t M, std::ptrdiff_t N>
VEXEL_ALWAYS_INLINE void feedLine(double sample, std::ptrdiff_t line, const Coefficients* modes,
                                  States<M, N>& states)
{
    for (std::size_t k = 0; k < M; ++k) {
        const double re = states.re[k][line];
        const double im = states.im[k][line];
        states.re[k][line] = modes[k].poleRe * re - modes[k].poleIm * im + sample;
        states.im[k][line] = modes[k].poleRe * im + modes[k].poleIm * re;
    }
}

template <std::size_t M, std::ptrdiff_t N>
VEXEL_ALWAYS_INLINE float forwardOfLine(std::ptrdiff_t line, const Coefficients* modes,
                                        const States<M, N>& states)
{
    double sum = 0.0;
    for (std::size_t k = 0; k < M; ++k)
        sum += modes[k].forwardRe * states.re[k][line] - modes[k].forwardIm * states.im[k][line];
    return static_cast<float>(sum);
}

/// The sum of both directions.
template <std::size_t M, std::ptrdiff_t N>
VEXEL_ALWAYS_INLINE float smoothOfLine(float forward, std::ptrdiff_t line, const Coefficients* modes,
                                       const States<M, N>& states)
{
    auto sum = static_cast<double>(forward);
    for (std::size_t k = 0; k < M; ++k)
        sum += modes[k].backwardRe * states.re[k][line] - modes[k].backwardIm * states.im[k][line];
    return static_cast<float>(sum);
}

/// Feeds one sample a line.
template <std::size_t M, std::ptrdiff_t N>
VEXEL_ALWAYS_INLINE void feed(const float* __restrict samples, std::ptrdiff_t lines,
                              const Coefficients* modes, States<M, N>& states)
{
    for (std::ptrdiff_t line = 0; line < lines; ++line)
        feedLine(static_cast<double>(samples[line]), line, modes, states);
}

template <std::size_t M, std::ptrdiff_t N>
VEXEL_ALWAYS_INLINE void feedAndRespondForward(const float* __restrict samples, std::ptrdiff_t lines,
                                               const Coefficients* modes, States<M, N>& states,
                                               float* __restrict forward)
{
    for (std::ptrdiff_t line = 0; line < lines; ++line) {
        feedLine(static_cast<double>(samples[line]), line, modes, states);
        forward[line] = forwardOfLine(line, modes, states);
    }
}

/// Replaces a row of samples by the sum of both directions, and feeds it backward.
template <std::size_t M, std::ptrdiff_t N>
VEXEL_ALWAYS_INLINE void respondBackwardAndFeed(const float* __restrict forward, std::ptrdiff_t lines,
                                                const Coefficients* modes, States<M, N>& states,
                                                float* __restrict pixels)
{
    for (std::ptrdiff_t line = 0; line < lines; ++line) {
        const auto sample = static_cast<double>(pixels[line]);
        pixels[line] = smoothOfLine(forward[line], line, modes, states);
        feedLine(sample, line, modes, states);
    }
}

/// How many numbers the states of lines are.
constexpr std::size_t stateSize(std::size_t modes, std::ptrdiff_t lines)
{
    return 2 * modes * static_cast<std::size_t>(lines);
}

template <std::size_t M, std::ptrdiff_t N>
VEXEL_ALWAYS_INLINE void keep(const States<M, N>& states, std::ptrdiff_t lines, double* kept)
{
    for (std::size_t k = 0; k < M; ++k) {
        kept = std::copy_n(states.re[k], lines, kept);
        kept = std::copy_n(states.im[k], lines, kept);
    }
}

template <std::size_t M, std::ptrdiff_t N>
VEXEL_ALWAYS_INLINE void takeBack(const double* kept, std::ptrdiff_t lines, States<M, N>& states)
{
    for (std::size_t k = 0; k < M; ++k) {
        std::copy_n(kept, lines, states.re[k]);
        std::copy_n(kept + lines, lines, states.im[k]);
        kept += 2 * lines;
    }
}

/// Asks for the pixels of a row that will be needed soon: rows lie too far apart for the processor to see
/// them coming.
VEXEL_ALWAYS_INLINE void prefetchRow(const ImagePart& image, std::ptrdiff_t row)
{
    constexpr std::ptrdiff_t cacheLine = 64 / sizeof(float);
    if (row >= image.rows)
        return;
    const float* pixels = image.first + row * image.rowStep;
    for (std::ptrdiff_t x = 0; x < image.columns; x += cacheLine)
        prefetch(pixels + x);
}

/// Up to N columns of an image, from column `first` on.
template <std::ptrdiff_t N>
VEXEL_ALWAYS_INLINE ImagePart columnsFrom(const ImagePart& image, std::ptrdiff_t first)
{
    return {image.first + first, image.rows, std::min(N, image.columns - first), image.rowStep};
}

/// What a thread needs to filter columns.
struct ColumnScratch
{
    ColumnScratch(std::ptrdiff_t rows, std::ptrdiff_t columns, std::size_t noModes)
        : forward(static_cast<std::size_t>(std::min(rows, rowsAtATime) * columns)),
          kept(static_cast<std::size_t>((rows - 1) / rowsAtATime) * stateSize(noModes, columns))
    {}

    std::vector<float> forward; ///< responses of as many rows as are filtered at a time
    std::vector<double> kept;   ///< the states in front of each so many rows but the last
};

/// Filters lines that run from row to row: the last rows first, for which the states in front of them
/// are found once, and kept, by a pass over all rows.
template <std::size_t M>
VEXEL_ALWAYS_INLINE void filterLines(const ImagePart& image, ColumnScratch& scratch,
                                     const Coefficients* modes)
{
    const std::ptrdiff_t lines = image.columns;
    const auto row = [&](std::ptrdiff_t y) { return image.first + y * image.rowStep; };
    States<M, columnsAtATime> ahead;
    States<M, columnsAtATime> behind;
    settleOn(row(0), lines, modes, ahead);
    settleOn(row(image.rows - 1), lines, modes, behind);
    std::ptrdiff_t first = 0;
    double* kept = scratch.kept.data();
    for (; image.rows - first > rowsAtATime; first += rowsAtATime) {
        keep(ahead, lines, kept);
        kept += stateSize(M, lines);
        for (std::ptrdiff_t y = first; y < first + rowsAtATime; ++y) {
            prefetchRow(image, y + rowsAhead);
            feed(row(y), lines, modes, ahead);
        }
    }
    for (std::ptrdiff_t end = image.rows; end > 0; end = first, first -= rowsAtATime) {
        float* forward = scratch.forward.data();
        for (std::ptrdiff_t y = first; y < end; ++y, forward += lines) {
            prefetchRow(image, y + rowsAhead);
            feedAndRespondForward(row(y), lines, modes, ahead, forward);
        }
        for (std::ptrdiff_t y = end - 1; y >= first; --y) {
            forward -= lines;
            respondBackwardAndFeed(forward, lines, modes, behind, row(y));
        }
        if (first > 0) {
            kept -= stateSize(M, lines);
            takeBack(kept, lines, ahead);
        }
    }
}

/// What a thread needs to filter up to `rowsTurned` rows.
struct RowScratch
{
    RowScratch(std::ptrdiff_t rows, std::ptrdiff_t columns)
        : turned(static_cast<std::size_t>(columnsTurned * rowsTurned)),
          forward(static_cast<std::size_t>(std::min(rows, rowsTurned) * columns))
    {}

    std::vector<float> turned;  ///< a part of the rows, turned into columns
    std::vector<float> forward; ///< responses, column by column
};

/// Four pixels of each of four rows become four turned rows.
VEXEL_ALWAYS_INLINE void turnFour(const float* first, std::ptrdiff_t rowStep, float* turned)
{
#ifdef __SSE2__
    __m128 a = _mm_loadu_ps(first);
    __m128 b = _mm_loadu_ps(first + rowStep);
    __m128 c = _mm_loadu_ps(first + 2 * rowStep);
    __m128 d = _mm_loadu_ps(first + 3 * rowStep);
    _MM_TRANSPOSE4_PS(a, b, c, d);
    _mm_storeu_ps(turned, a);
    _mm_storeu_ps(turned + rowsTurned, b);
    _mm_storeu_ps(turned + 2 * rowsTurned, c);
    _mm_storeu_ps(turned + 3 * rowsTurned, d);
#else
    for (std::ptrdiff_t y = 0; y < 4; ++y)
        for (std::ptrdiff_t x = 0; x < 4; ++x)
            turned[x * rowsTurned + y] = first[y * rowStep + x];
#endif
}

/// Pixel (x, y) of the image becomes element y of turned row x.
VEXEL_ALWAYS_INLINE void turn(const ImagePart& from, float* turned)
{
    const std::ptrdiff_t wholeRows = from.rows / 4 * 4;
    const std::ptrdiff_t wholeColumns = from.columns / 4 * 4;
    for (std::ptrdiff_t y = 0; y < wholeRows; y += 4)
        for (std::ptrdiff_t x = 0; x < wholeColumns; x += 4)
            turnFour(from.first + y * from.rowStep + x, from.rowStep, turned + x * rowsTurned + y);
    for (std::ptrdiff_t y = 0; y < from.rows; ++y)
        for (std::ptrdiff_t x = y < wholeRows ? wholeColumns : 0; x < from.columns; ++x)
            turned[x * rowsTurned + y] = from.first[y * from.rowStep + x];
}

/// Element y of turned row x becomes pixel (x, y) of the image.
VEXEL_ALWAYS_INLINE void turnBack(const float* __restrict turned, const ImagePart& to)
{
    for (std::ptrdiff_t y = 0; y < to.rows; ++y)
        for (std::ptrdiff_t x = 0; x < to.columns; ++x)
            to.first[y * to.rowStep + x] = turned[x * rowsTurned + y];
}

/// Filters rows.
///
/// @param lines how many there are: best known when this is compiled.
template <std::size_t M>
VEXEL_ALWAYS_INLINE void filterTurned(const ImagePart& image, std::ptrdiff_t lines, RowScratch& scratch,
                                      const Coefficients* modes)
{
    float* const turned = scratch.turned.data();
    float* forward = scratch.forward.data();
    States<M, rowsTurned> states;
    turn(columnsFrom<1>(image, 0), turned);
    settleOn(turned, lines, modes, states);
    for (std::ptrdiff_t first = 0; first < image.columns; first += columnsTurned) {
        const ImagePart part = columnsFrom<columnsTurned>(image, first);
        turn(part, turned);
        for (std::ptrdiff_t x = 0; x < part.columns; ++x, forward += lines)
            feedAndRespondForward(turned + x * rowsTurned, lines, modes, states, forward);
    }
    turn(columnsFrom<1>(image, image.columns - 1), turned);
    settleOn(turned, lines, modes, states);
    for (std::ptrdiff_t end = image.columns; end > 0;) {
        const std::ptrdiff_t first = (end - 1) / columnsTurned * columnsTurned;
        const ImagePart part = columnsFrom<columnsTurned>(image, first);
        turn(part, turned);
        for (std::ptrdiff_t x = part.columns - 1; x >= 0; --x) {
            forward -= lines;
            respondBackwardAndFeed(forward, lines, modes, states, turned + x * rowsTurned);
        }
        turnBack(turned, part);
        end = first;
    }
}

template <std::size_t M>
VEXEL_ALWAYS_INLINE void filterTurned(const ImagePart& image, RowScratch& scratch, const Coefficients* modes)
{
    if (image.rows == rowsTurned)
        filterTurned<M>(image, rowsTurned, scratch, modes);
    else
        filterTurned<M>(image, image.rows, scratch, modes);
}

VEXEL_MULTIVERSION void filterColumnPart(const ImagePart& image, ColumnScratch& scratch,
                                         const Coefficients* modes, bool oneMode)
{
    if (oneMode)
        filterLines<1>(image, scratch, modes);
    else
        filterLines<2>(image, scratch, modes);
}

VEXEL_MULTIVERSION void filterRowGroup(const ImagePart& image, RowScratch& scratch, const Coefficients* modes,
                                       bool oneMode)
{
    if (oneMode)
        filterTurned<1>(image, scratch, modes);
    else
        filterTurned<2>(image, scratch, modes);
}

/// Lets results too small for a normal number become 0 while it lives: behind an edge the states decay
/// through them, and processors take a hundred times as long for each.
class FlushTinyToZero
{
public:
#ifdef __SSE2__
    FlushTinyToZero() : m_before(_mm_getcsr())
    {
        _mm_setcsr(m_before | flushAndTreatAsZero);
    }
    ~FlushTinyToZero()
    {
        _mm_setcsr(m_before);
    }
#else
    FlushTinyToZero() {}
#endif
    FlushTinyToZero(const FlushTinyToZero&) = delete;
    FlushTinyToZero& operator=(const FlushTinyToZero&) = delete;

private:
#ifdef __SSE2__
    static constexpr unsigned flushAndTreatAsZero = 0x8040;

    unsigned m_before;
#endif
};

std::ptrdiff_t partsOf(std::ptrdiff_t length, std::ptrdiff_t partLength)
{
    return (length + partLength - 1) / partLength;
}

} // namespace

GaussRecursion::GaussRecursion(float sigma, int order) : m_noModes(order == 2 ? 1 : 2)
{
    constexpr float largest = 1e5f;
    const double width = std::min(sigma, largest);
    const std::array<DampedCosine, 2>& fit = fitOf(order);
    std::array<Mode, 2> modes{};
    double sum = 0.0;
    for (std::size_t k = 0; k < m_noModes; ++k) {
        const std::complex<double> exponent(-fit[k].decay, fit[k].frequency);
        modes[k].pole = std::exp(exponent / width);
        modes[k].weight = {fit[k].cosine, -fit[k].sine};
        sum += std::real(modes[k].weight * (1.0 + modes[k].pole) / (1.0 - modes[k].pole));
    }
    // The response summed over both directions is 1.
    for (std::size_t k = 0; k < m_noModes; ++k) {
        modes[k].weight /= sum;
        m_modes[k] = coefficientsOf(modes[k]);
    }
}

void GaussRecursion::filterColumns(const ImagePart& image) const
{
    const std::ptrdiff_t columnsOfPart = std::min(columnsAtATime, image.columns);
    parallelRows(
        partsOf(image.columns, columnsAtATime), image.rows * columnsOfPart * nanosecondsPerPixel,
        [&] { return ColumnScratch(image.rows, columnsOfPart, m_noModes); },
        [&](std::ptrdiff_t part, ColumnScratch& scratch) {
            const FlushTinyToZero flush;
            filterColumnPart(columnsFrom<columnsAtATime>(image, part * columnsAtATime), scratch,
                             m_modes.data(), m_noModes == 1);
        });
}

void GaussRecursion::filterRows(const ImagePart& image) const
{
    parallelRows(
        partsOf(image.rows, rowsTurned), image.columns * rowsTurned * nanosecondsPerPixel,
        [&] { return RowScratch(image.rows, image.columns); },
        [&](std::ptrdiff_t group, RowScratch& scratch) {
            const FlushTinyToZero flush;
            const std::ptrdiff_t first = group * rowsTurned;
            filterRowGroup({image.first + first * image.rowStep, std::min(rowsTurned, image.rows - first),
                            image.columns, image.rowStep},
                           scratch, m_modes.data(), m_noModes == 1);
        });
}

} // namespace vexel
