// Measures how a large raster is completed beside another thread: vexel-bench-finish FOLDER --size N
//
// Writes N x N pixels of three bands of bytes and finishes them while another thread takes the lock round GDAL every
// millisecond; then stops finishing at several moments. Standard output has one "name: value" a line.

#include <vexel/vexel.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using vexel::GDALStreamer;
using vexel::StreamError;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void check(bool done, const GDALStreamer& set)
{
    if (!done)
        throw std::runtime_error(set.lastError().message().toStdString());
}

/// A surface with grain, which LZW packs to about half.
unsigned char pixel(std::uint32_t x, std::uint32_t y)
{
    const std::uint32_t mixed = (x * 2654435761u) ^ (y * 2246822519u);
    return static_cast<unsigned char>((x / 16 + y / 24) % 200 + (mixed >> 13) % 8);
}

void write(GDALStreamer& set, const QString& path, int size)
{
    constexpr int rowsAtATime = 500;
    check(set.openWrite(path, 3, vexel::DataType::UInt8, size, size), set);
    vexel::PixelMatrix<unsigned char> pixels;
    for (int y = 0; y < size; y += rowsAtATime) {
        const int rows = std::min(rowsAtATime, size - y);
        pixels.resize(3 * rows, size);
        for (int row = 0; row < 3 * rows; ++row)
            for (int x = 0; x < size; ++x)
                pixels(row, x) = pixel(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y + row));
        check(set.writeBands(pixels, {1, 2, 3}, vexel::PixelBox({0, y}, {size, y + rows})), set);
    }
}

/// Takes the lock every millisecond and keeps the longest time that it has waited.
class Waiter
{
public:
    Waiter() : m_thread([this] { run(); }) {}
    ~Waiter() { end(); }
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

    double longest()
    {
        end();
        return m_longest;
    }

private:
    void run()
    {
        while (!m_isOver) {
            const Clock::time_point start = Clock::now();
            {
                const vexel::GDALMutex lock;
                m_longest = std::max(m_longest, secondsSince(start));
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    void end()
    {
        m_isOver = true;
        if (m_thread.joinable())
            m_thread.join();
    }

    std::atomic<bool> m_isOver{false};
    double m_longest = 0.0;
    std::thread m_thread;
};

void measureWait(const QString& path, int size)
{
    GDALStreamer set;
    write(set, path, size);
    Waiter waiter;
    const Clock::time_point start = Clock::now();
    if (const StreamError error = set.finish())
        throw std::runtime_error(error.message().toStdString());
    std::cout << "finish seconds: " << secondsSince(start) << "\n"
              << "longest wait seconds: " << waiter.longest() << std::endl;
}

void measureStop(const QString& path, int size)
{
    double longest = 0.0;
    for (const double stopAt : {0.0, 0.5, 0.98}) {
        GDALStreamer set;
        write(set, path, size);
        Clock::time_point asked;
        const StreamError error = set.finish([&](double share) {
            asked = Clock::now();
            return share < stopAt;
        });
        if (error.code != StreamError::Code::Stopped)
            throw std::runtime_error("Finishing was not stopped");
        longest = std::max(longest, secondsSince(asked));
    }
    std::cout << "longest stop seconds: " << longest << std::endl;
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Measures how a large raster is completed beside another thread.", "vexel-bench-finish");
    std::string folder;
    int size = 10000;
    app.add_option("FOLDER", folder, "where to write the raster")->required();
    app.add_option("--size", size, "edge of the raster in pixels")->check(CLI::Range(1, 100000));
    CLI11_PARSE(app, argc, argv);
    try {
        const QString path = QString::fromStdString(folder) + "/finish.tif";
        measureWait(path, size);
        measureStop(path, size);
        vexel::file::remove(path);
        vexel::file::remove(QString::fromStdString(folder) + "/finish.tfw");
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "vexel-bench-finish: " << error.what() << std::endl;
        return 1;
    }
}
