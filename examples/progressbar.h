#ifndef VEXEL_EXAMPLES_PROGRESSBAR_H
#define VEXEL_EXAMPLES_PROGRESSBAR_H

#include <vexel/vexel.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <iostream>
#include <string>

namespace example {

/// A time as 0:07, 12:34 or 1:02:03.
inline std::string clockText(std::chrono::duration<double> time)
{
    constexpr double longest = 359999.0; // 99:59:59
    const auto all = static_cast<int>(std::fmin(std::fmax(time.count(), 0.0), longest) + 0.5);
    const auto twoDigits = [](int number) { return (number < 10 ? "0" : "") + std::to_string(number); };
    const std::string minutes =
        all < 3600 ? std::to_string(all / 60) : std::to_string(all / 3600) + ":" + twoDigits(all / 60 % 60);
    return minutes + ":" + twoDigits(all % 60);
}

/// Draws on standard error how far a job is, in one line that it writes over and over.
class ProgressBar
{
public:
    /// @param visible otherwise it draws nothing.
    explicit ProgressBar(bool visible) : m_visible(visible) { draw(bar(0.0)); }
    ~ProgressBar()
    {
        if (m_visible)
            std::cerr << std::endl;
    }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void show(const vexel::JobRunner::Progress& progress)
    {
        m_counts = std::to_string(progress.stepsDone) + "/" + std::to_string(progress.steps) + " tiles, ";
        const std::string phase = progress.stepsDone == progress.steps ? "completing the output, " : "";
        draw(bar(progress.share) + m_counts + phase + clockText(progress.elapsed) + " elapsed, " +
             clockText(progress.remaining) + " left");
    }

    void showDone() { draw(bar(1.0) + m_counts + "done"); }

private:
    static std::string bar(double share)
    {
        constexpr std::size_t width = 30;
        const auto filled = std::min(width, static_cast<std::size_t>(share * static_cast<double>(width)));
        const auto percent = static_cast<int>(100.0 * share);
        return "[" + std::string(filled, '#') + std::string(width - filled, '.') + "] " +
               std::to_string(percent) + " %, ";
    }

    void draw(const std::string& line)
    {
        if (!m_visible || line == m_drawn)
            return;
        const std::size_t rest = m_drawn.size() > line.size() ? m_drawn.size() - line.size() : 0;
        std::cerr << "\r" << line << std::string(rest, ' ') << std::flush;
        m_drawn = line;
    }

    bool m_visible;
    std::string m_counts;
    std::string m_drawn;
};

} // namespace example

#endif
