#include "companion/gaussblur.h"

#include "companion/parallelrows.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <stdexcept>
#include <vector>

#ifdef __SSE2__
#include <xmmintrin.h>
#endif

namespace vexel {

namespace {

/// Rows or columns that are filtered side by side, one a vector lane. A multiple of every vector width, and a
/// cache line of floats.
constexpr std::ptrdiff_t lanes = 16;

/// The part (cosine cos(wt) + sine sin(wt)) exp(-decay t) of the fit, with t in standard deviations.
struct DampedCosine
{
    double cosine;
    double sine;
    double decay;
    double frequency;
};

// Each minimises the largest deviation from exp(-t²/2) for t ≥ 0, once scaled to the same integral.
constexpr std::array<DampedCosine, 1> fitOfOrder2{
    {{0.8794951524173352, 1.744273811947493, 1.2617485584439294, 0.8074735107531777}}};
constexpr std::array<DampedCosine, 2> fitOfOrder3{
    {{-0.7728509952139817, 0.9920012788213765, 1.481080110004796, 1.460985306352379},
     {1.7224422878782244, 0.0, 1.5412348739137216, 0.0}}};
constexpr std::array<DampedCosine, 2> fitOfOrder4{
    {{1.6194411475754398, 3.4259184813593277, 1.756063692287148, 0.6271598227706522},
     {-0.6472581739790457, -0.19493176792554073, 1.6899432788219053, 1.9927202136325814}}};

/// A recursion of first order in the complex plane: its response at distance n is the real part of weight
/// times pole^n. One of these a pole stays exact where the poles crowd near 1 for a large sigma, which a
/// single recursion of high order does not.
struct Mode
{
    std::complex<double> pole;
    std::complex<double> weight;
};

template <std::size_t M>
using Modes = std::array<Mode, M>;

/// The modes for `sigma`, scaled so that the response summed over both directions is 1.
template <std::size_t M>
Modes<M> modesFor(const std::array<DampedCosine, M>& fit, double sigma)
{
    Modes<M> modes;
    double sum = 0.0;
    for (std::size_t k = 0; k < M; ++k) {
        const std::complex<double> exponent(-fit[k].decay, fit[k].frequency);
        modes[k].pole = std::exp(exponent / sigma);
        modes[k].weight = {fit[k].cosine, -fit[k].sine};
        sum += std::real(modes[k].weight * (1.0 + modes[k].pole) / (1.0 - modes[k].pole));
    }
    for (Mode& mode : modes)
        mode.weight /= sum;
    return modes;
}

/// The state of each mode, lane by lane.
template <std::size_t M>
struct States
{
    double re[M][lanes];
    double im[M][lanes];
};

/// The states after `edge` has been the input for ever.
template <std::size_t M>
States<M> settledOn(const float* edge, const Modes<M>& modes)
{
    States<M> states;
    for (std::size_t k = 0; k < M; ++k) {
        const std::complex<double> gain = 1.0 / (1.0 - modes[k].pole);
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane) {
            states.re[k][lane] = gain.real() * edge[lane];
            states.im[k][lane] = gain.imag() * edge[lane];
        }
    }
    return states;
}

/// Feeds one sample a lane to the states of one mode: state := pole state + sample.
inline void feed(double* __restrict re, double* __restrict im, const std::complex<double>& pole,
                 const float* __restrict samples)
{
    const double pr = pole.real();
    const double pi = pole.imag();
    for (std::ptrdiff_t lane = 0; lane < lanes; ++lane) {
        const double nextRe = pr * re[lane] - pi * im[lane] + static_cast<double>(samples[lane]);
        im[lane] = pr * im[lane] + pi * re[lane];
        re[lane] = nextRe;
    }
}

/// Adds the real part of weight times state to the sum of each lane.
inline void addResponse(double* __restrict sum, const double* __restrict re, const double* __restrict im,
                        const std::complex<double>& weight)
{
    const double wr = weight.real();
    const double wi = weight.imag();
    for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
        sum[lane] += wr * re[lane] - wi * im[lane];
}

/// Filters `length` samples of each lane. Sample i of all lanes stands at `samples + i * lanes`; the results
/// go to `smooth` in the same order.
template <std::size_t M>
void filterLanes(const float* samples, float* smooth, std::ptrdiff_t length, const Modes<M>& modes)
{
    States<M> states = settledOn(samples, modes);
    for (std::ptrdiff_t i = 0; i < length; ++i) {
        const float* sample = samples + i * lanes;
        double sum[lanes] = {};
        for (std::size_t k = 0; k < M; ++k) {
            feed(states.re[k], states.im[k], modes[k].pole, sample);
            addResponse(sum, states.re[k], states.im[k], modes[k].weight);
        }
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
            smooth[i * lanes + lane] = static_cast<float>(sum[lane]);
    }

    // Backward the sample itself does not count: the forward pass has it.
    states = settledOn(samples + (length - 1) * lanes, modes);
    for (std::ptrdiff_t i = length - 1; i >= 0; --i) {
        double sum[lanes];
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
            sum[lane] = static_cast<double>(smooth[i * lanes + lane]);
        for (std::size_t k = 0; k < M; ++k) {
            addResponse(sum, states.re[k], states.im[k], modes[k].weight * modes[k].pole);
            feed(states.re[k], states.im[k], modes[k].pole, samples + i * lanes);
        }
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
            smooth[i * lanes + lane] = static_cast<float>(sum[lane]);
    }
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

struct Scratch
{
    explicit Scratch(std::ptrdiff_t length)
        : samples(static_cast<std::size_t>(length * lanes)), smooth(static_cast<std::size_t>(length * lanes))
    {}

    std::vector<float> samples;
    std::vector<float> smooth;
};

/// Where the lines of one direction lie in the image: `lines` of them, `lineStep` apart, of `length` pixels,
/// `pixelStep` apart.
struct Direction
{
    std::ptrdiff_t lines;
    std::ptrdiff_t lineStep;
    std::ptrdiff_t length;
    std::ptrdiff_t pixelStep;
};

template <std::size_t M>
void filterLines(float* pixels, const Direction& d, const Modes<M>& modes)
{
    const std::ptrdiff_t groups = (d.lines + lanes - 1) / lanes;
    parallelRows(
        groups, d.length * lanes, [&] { return Scratch(d.length); },
        [&](std::ptrdiff_t group, Scratch& scratch) {
            const FlushTinyToZero flush;
            const std::ptrdiff_t used = std::min(lanes, d.lines - group * lanes);
            float* first = pixels + group * lanes * d.lineStep;
            for (std::ptrdiff_t i = 0; i < d.length; ++i)
                for (std::ptrdiff_t lane = 0; lane < used; ++lane)
                    scratch.samples[static_cast<std::size_t>(i * lanes + lane)] =
                        first[lane * d.lineStep + i * d.pixelStep];
            filterLanes(scratch.samples.data(), scratch.smooth.data(), d.length, modes);
            for (std::ptrdiff_t i = 0; i < d.length; ++i)
                for (std::ptrdiff_t lane = 0; lane < used; ++lane)
                    first[lane * d.lineStep + i * d.pixelStep] =
                        scratch.smooth[static_cast<std::size_t>(i * lanes + lane)];
        });
}

template <std::size_t M>
void filterBothDirections(PixelMatrix<float>& m, const Modes<M>& modes)
{
    const Direction columns{m.cols(), 1, m.rows(), m.cols()};
    const Direction rows{m.rows(), m.cols(), m.cols(), 1};
    filterLines(m.data(), columns, modes);
    filterLines(m.data(), rows, modes);
}

} // namespace

void gauss_iir2d(PixelMatrix<float>& m, float sigma, int n)
{
    if (n < 2 || n > 4)
        throw std::invalid_argument("The recursive Gaussian has orders 2 to 4, not " + std::to_string(n));
    // Below this the next pixel's weight vanishes even beside 1.
    constexpr float smallest = 0.05f;
    constexpr float largest = 1e5f;
    if (!(sigma >= smallest) || m.size() == 0)
        return;
    const double width = std::min(sigma, largest);
    if (n == 2)
        filterBothDirections(m, modesFor(fitOfOrder2, width));
    else
        filterBothDirections(m, modesFor(n == 3 ? fitOfOrder3 : fitOfOrder4, width));
}

} // namespace vexel
