#include "companion/gaussrecursion.h"

#include "companion/compilerhints.h"
#include "companion/parallelrows.h"

#include <algorithm>
#include <complex>
#include <numeric>

#ifdef __SSE2__
#include <xmmintrin.h>
#endif

namespace vexel {

namespace {

using Coefficients = GaussRecursion::Coefficients;

/// Rows that are filtered side by side, one a vector lane. A multiple of every vector width, and a cache line
/// of floats.
constexpr std::ptrdiff_t lanes = 16;

/// Columns that are filtered side by side: their states stay in the nearest cache.
constexpr std::ptrdiff_t columnsAtATime = 512;

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

/// The real and the imaginary part of each mode's state, one after the other, of many lines side by side.
template <std::size_t M>
struct States
{
    double re[M][columnsAtATime];
    double im[M][columnsAtATime];
};

/// The states after a row of samples has been the input for ever.
template <std::size_t M, class T>
VEXEL_ALWAYS_INLINE void settleOn(const T* __restrict samples, std::ptrdiff_t lines,
                                  const Coefficients* modes, States<M>& states)
{
    for (std::size_t k = 0; k < M; ++k)
        for (std::ptrdiff_t line = 0; line < lines; ++line) {
            const auto sample = static_cast<double>(samples[line]);
            states.re[k][line] = modes[k].gainRe * sample;
            states.im[k][line] = modes[k].gainIm * sample;
        }
}

/// Feeds one sample a line: state := pole state + sample.
template <std::size_t M, class T>
VEXEL_ALWAYS_INLINE void feed(const T* __restrict samples, std::ptrdiff_t lines, const Coefficients* modes,
                              States<M>& states)
{
    for (std::ptrdiff_t line = 0; line < lines; ++line) {
        const auto sample = static_cast<double>(samples[line]);
        for (std::size_t k = 0; k < M; ++k) {
            const double re = states.re[k][line];
            const double im = states.im[k][line];
            states.re[k][line] = modes[k].poleRe * re - modes[k].poleIm * im + sample;
            states.im[k][line] = modes[k].poleRe * im + modes[k].poleIm * re;
        }
    }
}

template <std::size_t M>
VEXEL_ALWAYS_INLINE void respondForward(std::ptrdiff_t lines, const Coefficients* modes,
                                        const States<M>& states, float* __restrict smooth)
{
    for (std::ptrdiff_t line = 0; line < lines; ++line) {
        double sum = 0.0;
        for (std::size_t k = 0; k < M; ++k)
            sum += modes[k].forwardRe * states.re[k][line] - modes[k].forwardIm * states.im[k][line];
        smooth[line] = static_cast<float>(sum);
    }
}

template <std::size_t M>
VEXEL_ALWAYS_INLINE void respondBackward(std::ptrdiff_t lines, const Coefficients* modes,
                                         const States<M>& states, float* __restrict smooth)
{
    for (std::ptrdiff_t line = 0; line < lines; ++line) {
        auto sum = static_cast<double>(smooth[line]);
        for (std::size_t k = 0; k < M; ++k)
            sum += modes[k].backwardRe * states.re[k][line] - modes[k].backwardIm * states.im[k][line];
        smooth[line] = static_cast<float>(sum);
    }
}

/// The results that are wanted of lines.
struct Wanted
{
    const std::ptrdiff_t* positions;
    std::ptrdiff_t count;
};

/// Asks for the pixels of a row that will be needed soon: rows lie too far apart for the processor to see
/// them coming.
template <class T>
VEXEL_ALWAYS_INLINE void prefetchRow(const ImagePart<const T>& image, std::ptrdiff_t row)
{
    constexpr std::ptrdiff_t cacheLine = 64 / sizeof(T);
    if (row < 0 || row >= image.rows)
        return;
    const T* pixels = image.first + row * image.rowStep;
    for (std::ptrdiff_t x = 0; x < image.columns; x += cacheLine)
        prefetch(pixels + x);
}

/// Filters lines that run from row to row of `from`; their results go to the rows of `to`.
template <std::size_t M, class T>
VEXEL_ALWAYS_INLINE void filterLines(const ImagePart<const T>& from, const Wanted& wanted,
                                     const ImagePart<float>& to, const Coefficients* modes)
{
    const std::ptrdiff_t lines = from.columns;
    States<M> states;
    settleOn<M>(from.first, lines, modes, states);
    std::ptrdiff_t next = 0;
    for (std::ptrdiff_t k = 0; k < wanted.count; ++k) {
        for (; next <= wanted.positions[k]; ++next) {
            prefetchRow(from, next + rowsAhead);
            feed<M>(from.first + next * from.rowStep, lines, modes, states);
        }
        respondForward<M>(lines, modes, states, to.first + k * to.rowStep);
    }
    next = from.rows - 1;
    settleOn<M>(from.first + next * from.rowStep, lines, modes, states);
    for (std::ptrdiff_t k = wanted.count - 1; k >= 0; --k) {
        for (; next > wanted.positions[k]; --next) {
            prefetchRow(from, next - rowsAhead);
            feed<M>(from.first + next * from.rowStep, lines, modes, states);
        }
        respondBackward<M>(lines, modes, states, to.first + k * to.rowStep);
    }
}

/// The same for a number of lines that is known when it is compiled, whose states find room in registers.
template <std::size_t M>
VEXEL_ALWAYS_INLINE void filterLanes(const ImagePart<const float>& from, const Wanted& wanted,
                                     const ImagePart<float>& to, const Coefficients* modes)
{
    filterLines<M>(ImagePart<const float>{from.first, from.rows, lanes, lanes}, wanted,
                   ImagePart<float>{to.first, to.rows, lanes, lanes}, modes);
}

VEXEL_MULTIVERSION void filterPart(const ImagePart<const unsigned char>& from, const Wanted& wanted,
                                   const ImagePart<float>& to, const Coefficients* modes, bool oneMode)
{
    if (oneMode)
        filterLines<1>(from, wanted, to, modes);
    else
        filterLines<2>(from, wanted, to, modes);
}

VEXEL_MULTIVERSION void filterPart(const ImagePart<const float>& from, const Wanted& wanted,
                                   const ImagePart<float>& to, const Coefficients* modes, bool oneMode)
{
    if (oneMode)
        filterLines<1>(from, wanted, to, modes);
    else
        filterLines<2>(from, wanted, to, modes);
}

VEXEL_MULTIVERSION void filterGroup(const ImagePart<const float>& from, const Wanted& wanted,
                                    const ImagePart<float>& to, const Coefficients* modes, bool oneMode)
{
    if (oneMode)
        filterLanes<1>(from, wanted, to, modes);
    else
        filterLanes<2>(from, wanted, to, modes);
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

/// Up to `columnsAtATime` columns of an image, from column `first` on.
template <class T>
ImagePart<T> columnsFrom(const ImagePart<T>& image, std::ptrdiff_t first)
{
    return {image.first + first, image.rows, std::min(columnsAtATime, image.columns - first), image.rowStep};
}

std::ptrdiff_t columnParts(std::ptrdiff_t columns)
{
    return (columns + columnsAtATime - 1) / columnsAtATime;
}

std::vector<std::ptrdiff_t> allPositions(std::ptrdiff_t length)
{
    std::vector<std::ptrdiff_t> positions(static_cast<std::size_t>(length));
    std::iota(positions.begin(), positions.end(), 0);
    return positions;
}

Wanted wantedAt(const std::vector<std::ptrdiff_t>& positions)
{
    return {positions.data(), static_cast<std::ptrdiff_t>(positions.size())};
}

/// Rows turned into columns, `lanes` of them, and their results.
struct TurnedRows
{
    TurnedRows(std::ptrdiff_t length, std::ptrdiff_t wanted)
        : samples(static_cast<std::size_t>(length * lanes)), smooth(static_cast<std::size_t>(wanted * lanes))
    {}

    std::vector<float> samples;
    std::vector<float> smooth;
};

/// Pixel (x, y) of the image to or from element y of turned row x.
void turn(const ImagePart<const float>& from, float* turned)
{
    for (std::ptrdiff_t x = 0; x < from.columns; ++x)
        for (std::ptrdiff_t y = 0; y < from.rows; ++y)
            turned[x * lanes + y] = from.first[y * from.rowStep + x];
}

void turnBack(const float* turned, const ImagePart<float>& to)
{
    for (std::ptrdiff_t x = 0; x < to.columns; ++x)
        for (std::ptrdiff_t y = 0; y < to.rows; ++y)
            to.first[y * to.rowStep + x] = turned[x * lanes + y];
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

template <class T>
void GaussRecursion::filterColumns(const ImagePart<const T>& from,
                                   const std::vector<std::ptrdiff_t>& positions,
                                   const ImagePart<float>& to) const
{
    parallelRows(columnParts(from.columns), from.rows * columnsAtATime * nanosecondsPerPixel,
                 [&](std::ptrdiff_t part) {
                     const FlushTinyToZero flush;
                     filterPart(columnsFrom(from, part * columnsAtATime), wantedAt(positions),
                                columnsFrom(to, part * columnsAtATime), m_modes.data(), m_noModes == 1);
                 });
}

template void GaussRecursion::filterColumns(const ImagePart<const unsigned char>&,
                                            const std::vector<std::ptrdiff_t>&,
                                            const ImagePart<float>&) const;
template void GaussRecursion::filterColumns(const ImagePart<const float>&, const std::vector<std::ptrdiff_t>&,
                                            const ImagePart<float>&) const;

void GaussRecursion::filterColumns(const ImagePart<float>& image) const
{
    const std::vector<std::ptrdiff_t> positions = allPositions(image.rows);
    parallelRows(
        columnParts(image.columns), image.rows * columnsAtATime * nanosecondsPerPixel,
        [&] { return std::vector<float>(static_cast<std::size_t>(image.rows * columnsAtATime)); },
        [&](std::ptrdiff_t part, std::vector<float>& copy) {
            const FlushTinyToZero flush;
            const ImagePart<float> columns = columnsFrom(image, part * columnsAtATime);
            for (std::ptrdiff_t y = 0; y < columns.rows; ++y)
                std::copy_n(columns.first + y * columns.rowStep, columns.columns,
                            copy.data() + y * columns.columns);
            filterPart(ImagePart<const float>{copy.data(), columns.rows, columns.columns, columns.columns},
                       wantedAt(positions), columns, m_modes.data(), m_noModes == 1);
        });
}

void GaussRecursion::filterRows(const ImagePart<float>& image) const
{
    filterRows({image.first, image.rows, image.columns, image.rowStep}, allPositions(image.columns), image);
}

void GaussRecursion::filterRows(const ImagePart<const float>& from,
                                const std::vector<std::ptrdiff_t>& positions,
                                const ImagePart<float>& to) const
{
    const auto wanted = static_cast<std::ptrdiff_t>(positions.size());
    parallelRows(
        (from.rows + lanes - 1) / lanes, from.columns * lanes * nanosecondsPerPixel,
        [&] { return TurnedRows(from.columns, wanted); },
        [&](std::ptrdiff_t group, TurnedRows& turned) {
            const FlushTinyToZero flush;
            const std::ptrdiff_t first = group * lanes;
            const std::ptrdiff_t rows = std::min(lanes, from.rows - first);
            turn({from.first + first * from.rowStep, rows, from.columns, from.rowStep},
                 turned.samples.data());
            filterGroup({turned.samples.data(), from.columns, lanes, lanes}, wantedAt(positions),
                        {turned.smooth.data(), wanted, lanes, lanes}, m_modes.data(), m_noModes == 1);
            turnBack(turned.smooth.data(), {to.first + first * to.rowStep, rows, wanted, to.rowStep});
        });
}

} // namespace vexel
