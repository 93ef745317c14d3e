#ifndef VEXEL_DOWNSAMPLERS_STRIPRUN_H
#define VEXEL_DOWNSAMPLERS_STRIPRUN_H

#include "companion/PixelMatrix.h"
#include "companion/RowTeam.h"
#include "companion/parallelrows.h"
#include "downsamplers/StripPlan.h"
#include "downsamplers/StripReader.h"
#include "streaming/GDALStreamer.h"
#include "streaming/gdalmessages.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <utility>
#include <vector>

namespace vexel {

/// What came of reading a strip that the step has not reached yet.
struct StripNews
{
    std::vector<UnreadBlock> unread;
    HeldGdalMessages messages;
    std::exception_ptr failure;
    int error = 0; ///< `errno` after it
};

/// One row of the results of a strip.
template <class T>
struct ResultRow
{
    std::size_t band;   ///< counted from 0
    std::int64_t block; ///< the row of blocks, counted from the first of the tile
    T* values;
    std::ptrdiff_t columns;
};

/// Goes through the strips of one tile. The calling thread transfers: it reads a strip while the others of a team reduce
/// the one before, writes what became of it while they reduce the next one, and reduces too when it has nothing to
/// transfer.
///
/// What happens while a strip is read ahead takes effect when its turn comes, after the strips before it were written:
/// GDAL's messages are handed on, exceptions rethrown.
///
/// @tparam Work what a strategy makes of strips. It has the types `Pixel` and `Result`, of elements, and `Scratch`, of
///              what one thread needs; and
///              `double nanoseconds()` the whole tile takes, roughly, to tell whether a team pays;
///              `Scratch makeScratch()`;
///              `void prepare(pixels, first, end)` makes rows ready that have been read;
///              `void reduce(pixels, place, row, scratch)` makes one `ResultRow`, on any thread;
///              `bool write(place, news, results)` ends a strip, false the step. Band after band has a row of results for
///              each row of blocks, and a column for each column of blocks.
template <class Work>
class StripRun
{
public:
    using Pixel = typename Work::Pixel;
    using Results = PixelMatrix<typename Work::Result>;
    using Report = std::function<bool(double)>;

    /// @param report is told the share that is done after each transfer and each strip; false ends the run.
    StripRun(GDALStreamer& input, const StripPlan& plan, Work& work, Report report)
        : m_plan(plan), m_work(work), m_report(std::move(report)),
          m_noBands(static_cast<std::int64_t>(input.noBands())),
          m_reader(input, plan), m_halves{Half(elementsOf(input, plan)),
                                          Half(plan.strips().size() > 1 ? elementsOf(input, plan) : 0)}
    {
        for (const StripPlace& strip : plan.strips())
            m_all += 2.0 * static_cast<double>(strip.pixels());
    }

    /// False if it was ended before all strips were written. Nothing is written after `report` has ended it.
    bool run()
    {
        bool isDone = false;
        Team::run(
            m_work.nanoseconds() > static_cast<double>(worthATeam), [this] { return m_work.makeScratch(); },
            [&](Team& team) { isDone = lead(team); });
        return isDone;
    }

private:
    using Scratch = typename Work::Scratch;
    using Team = RowTeam<Scratch>;

    /// One of two strips, which take turns.
    struct Half
    {
        explicit Half(std::size_t mostElements) : pixels(mostElements) {}

        StripPixels<Pixel> pixels;
        Results results;
        StripNews news;
    };

    static std::size_t elementsOf(const GDALStreamer& input, const StripPlan& plan)
    {
        return static_cast<std::size_t>(plan.mostPixels()) * static_cast<std::size_t>(input.noBands());
    }

    static double pixelsOf(const StripPlace& strip, std::int64_t rows)
    {
        return static_cast<double>(strip.columns.readLength()) * static_cast<double>(rows);
    }

    Half& half(std::size_t strip) { return m_halves[strip % 2]; }
    const StripPixels<Pixel>& former(std::size_t strip) { return half(strip + 1).pixels; }

    bool lead(Team& team)
    {
        const std::size_t noStrips = m_plan.strips().size();
        if (!read(0))
            return false;
        start(team, 0);
        for (std::size_t k = 0; k < noStrips; ++k) {
            const bool goesOn = k + 1 < noStrips && !half(k).news.failure;
            if (goesOn && !read(k + 1))
                return false;
            team.finish();
            if (goesOn)
                start(team, k + 1);
            if (!write(k))
                return false;
        }
        return true;
    }

    void start(Team& team, std::size_t k)
    {
        const StripPlace& place = m_plan.strips()[k];
        Half& strip = half(k);
        const std::int64_t rowsOfBand = place.rows.noBlocks();
        attempt(strip.news, [&] { strip.results.resize(m_noBands * rowsOfBand, place.columns.noBlocks()); });
        if (strip.news.failure)
            return;
        team.start(
            strip.results.rows(), [this, rowsOfBand, &place, &strip](std::int64_t row, Scratch& scratch) {
                Results& results = strip.results;
                m_work.reduce(std::as_const(strip.pixels), place,
                              ResultRow<typename Work::Result>{static_cast<std::size_t>(row / rowsOfBand),
                                                               place.rows.firstBlock + row % rowsOfBand,
                                                               results.data() + row * results.cols(),
                                                               results.cols()},
                              scratch);
            });
    }

    /// Reads a strip ahead, transfer by transfer. False if that ends the run; what goes wrong waits for its turn.
    bool read(std::size_t k)
    {
        const StripPlace& place = m_plan.strips()[k];
        Half& strip = half(k);
        strip.news = {};
        Eigen::Index first = 0;
        attempt(strip.news, [&] { first = m_reader.begin(place, strip.pixels, former(k)); });
        m_done += pixelsOf(place, first - place.rows.firstPixel);
        while (!strip.news.failure && first < strip.pixels.endRow()) {
            Eigen::Index end = first;
            attempt(strip.news, [&] { end = readFrom(first, place, strip); });
            if (strip.news.failure)
                return true;
            m_work.prepare(strip.pixels, first, end);
            if (!tell(pixelsOf(place, end - first)))
                return false;
            first = end;
        }
        return true;
    }

    Eigen::Index readFrom(Eigen::Index first, const StripPlace& place, Half& strip)
    {
        StripNews& news = strip.news;
        const std::size_t unreadBefore = news.unread.size();
        const HeldGdalMessages::Collector collector(news.messages);
        const Eigen::Index end = m_reader.readFrom(first, place, strip.pixels, news.unread);
        if (news.unread.size() > unreadBefore)
            news.error = errno;
        return end;
    }

    template <class Action>
    static void attempt(StripNews& news, const Action& action)
    {
        try {
            action();
        } catch (...) {
            if (!news.failure)
                news.failure = std::current_exception();
        }
    }

    /// Ends a strip whose results are there.
    bool write(std::size_t k)
    {
        const StripPlace& place = m_plan.strips()[k];
        Half& strip = half(k);
        strip.news.messages.handOn();
        if (strip.news.failure)
            std::rethrow_exception(strip.news.failure);
        return m_work.write(place, strip.news, strip.results) &&
               tell(pixelsOf(place, place.rows.readLength()));
    }

    /// Counts each pixel once when it is there and once when what became of it is written.
    bool tell(double pixels)
    {
        m_done += pixels;
        return m_report(m_done / m_all);
    }

    const StripPlan& m_plan;
    Work& m_work;
    Report m_report;
    std::int64_t m_noBands;
    StripReader<Pixel> m_reader;
    std::array<Half, 2> m_halves;
    double m_all = 0.0;
    double m_done = 0.0;
};

} // namespace vexel

#endif
