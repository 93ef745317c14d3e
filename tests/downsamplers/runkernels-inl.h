// No include guard and no includes: included once by each file that runs the kernels, after the kernels it runs.

namespace {

using kernelresults::Bits;
using kernelresults::Results;
using vexel::kernels::lanes;

constexpr int rounds = 100;

/// Wide enough for whole vectors and a rest.
constexpr std::ptrdiff_t mostColumns = 301;

/// Draws rows of pixels, the same ones in each run.
class Rows
{
public:
    std::size_t below(std::size_t end) { return m_random() % end; }

    std::vector<unsigned char> bytes(std::ptrdiff_t count)
    {
        std::vector<unsigned char> row(static_cast<std::size_t>(count));
        for (unsigned char& value : row)
            value = static_cast<unsigned char>(below(4) == 0 ? 0 : below(256));
        return row;
    }

    std::vector<std::uint16_t> sums(std::ptrdiff_t count)
    {
        std::vector<std::uint16_t> row(static_cast<std::size_t>(count));
        for (std::uint16_t& value : row)
            value = static_cast<std::uint16_t>(below(8) == 0 ? 0 : below(4000));
        return row;
    }

    /// Among numbers of all sizes, one in `part` is of those that comparisons and sums treat in their own way.
    std::vector<float> floats(std::ptrdiff_t count, std::size_t part = 8)
    {
        const float odd[] = {-10000.0f,
                             -9999.9990234375f,
                             0.0f,
                             -0.0f,
                             1e-40f,
                             std::numeric_limits<float>::max(),
                             std::numeric_limits<float>::infinity(),
                             std::numeric_limits<float>::quiet_NaN()};
        std::vector<float> row(static_cast<std::size_t>(count));
        for (float& value : row)
            value =
                below(part) == 0 ? odd[below(8)] : static_cast<float>(below(1u << 24)) * 1.1e-3f - 9000.0f;
        return row;
    }

    /// An image of odd size that changes its sign when it is mirrored along either axis. On the axes the two directions of
    /// a filter cancel up to their rounding, so that floats show differences in the last bit of a double.
    std::vector<float> oddImage(std::ptrdiff_t height, std::ptrdiff_t width)
    {
        std::vector<float> image(static_cast<std::size_t>(height * width));
        const auto pixel = [&](std::ptrdiff_t y, std::ptrdiff_t x) -> float& {
            return image[static_cast<std::size_t>(y * width + x)];
        };
        for (std::ptrdiff_t y = 0; y < height / 2; ++y)
            for (std::ptrdiff_t x = 0; x < width / 2; ++x) {
                const auto value = static_cast<float>(below(1u << 24));
                pixel(y, x) = pixel(height - 1 - y, width - 1 - x) = value;
                pixel(height - 1 - y, x) = pixel(y, width - 1 - x) = -value;
            }
        return image;
    }

private:
    std::mt19937 m_random{20};
};

template <class T>
void note(Bits& bits, const std::vector<T>& values)
{
    const std::size_t before = bits.size();
    bits.resize(before + values.size() * sizeof(T));
    std::memcpy(bits.data() + before, values.data(), values.size() * sizeof(T));
}

/// Sums, where it is the compiler's choice which NaN comes of two.
void noteSums(Bits& bits, std::vector<float> sums)
{
    for (float& sum : sums)
        if (std::isnan(sum))
            sum = std::numeric_limits<float>::quiet_NaN();
    note(bits, sums);
}

void runLaneKernels(Rows& rows, Results& results)
{
    namespace kernels = vexel::kernels;
    const auto values = rows.floats(lanes);
    std::vector<double> counts(lanes);
    std::vector<double> means(lanes);
    for (std::size_t lane = 0; lane < counts.size(); ++lane) {
        counts[lane] = static_cast<double>(rows.below(9));
        means[lane] = static_cast<double>(rows.below(1000)) / 7.0;
    }
    kernels::addToMeans(values.data(), counts.data(), means.data());
    note(results["addToMeans"], counts);
    note(results["addToMeans"], means);

    auto chosen = rows.floats(lanes);
    kernels::foldMin(values.data(), chosen.data());
    note(results["foldMin"], chosen);
    chosen = rows.floats(lanes);
    kernels::foldMax(values.data(), chosen.data());
    note(results["foldMax"], chosen);

    auto bad = rows.bytes(lanes);
    kernels::markUnordered(values.data(), bad.data());
    note(results["markUnordered"], bad);
}

void runSelections(Rows& rows, Results& results)
{
    namespace kernels = vexel::kernels;
    const auto places = static_cast<std::ptrdiff_t>(1 + rows.below(255));
    const auto bytes = rows.bytes(3 * places * lanes);
    auto ranks = rows.bytes(lanes);
    for (unsigned char& rank : ranks)
        rank = static_cast<unsigned char>(rank % places);
    std::vector<unsigned char> selected(lanes);
    kernels::selectInLanes(bytes.data(), places, ranks.data(), selected.data());
    note(results["selectInLanes"], selected);

    kernels::countOpaque(bytes.data(), places, selected.data());
    note(results["countOpaque"], selected);

    std::vector<std::size_t> counts(static_cast<std::size_t>(kernels::quarters));
    kernels::countAtLeast(bytes.data(), 3 * places, rows.bytes(kernels::quarters).data(), counts.data());
    note(results["countAtLeast"], counts);

    const auto width = static_cast<std::ptrdiff_t>(1 + rows.below(mostColumns));
    auto row = rows.bytes(width);
    kernels::raiseTransparent(rows.bytes(width).data(), row.data(), width);
    note(results["raiseTransparent"], row);

    std::vector<std::int32_t> keys(static_cast<std::size_t>(width));
    const kernels::KeyRange range = kernels::orderedKeys(rows.floats(width).data(), keys.data(), width);
    keys.push_back(range.lowest);
    keys.push_back(range.highest);
    note(results["orderedKeys"], keys);

    auto values = rows.floats(places * lanes);
    std::vector<std::uint8_t> valid(lanes);
    std::vector<std::uint8_t> odd(lanes);
    kernels::raiseMissing(values.data(), places, valid.data(), odd.data());
    note(results["raiseMissing"], values);
    note(results["raiseMissing"], valid);
    note(results["raiseMissing"], odd);
}

void runGathers(Rows& rows, Results& results)
{
    const auto length = static_cast<std::ptrdiff_t>(1 + rows.below(9));
    std::vector<float> floats(lanes);
    vexel::kernels::gatherRegular(rows.floats(lanes * length).data(), length, floats.data());
    note(results["gatherRegular of floats"], floats);
    std::vector<unsigned char> bytes(lanes);
    vexel::kernels::gatherRegular(rows.bytes(lanes * length).data(), length, bytes.data());
    note(results["gatherRegular of bytes"], bytes);
}

void runRowKernels(Rows& rows, Results& results)
{
    namespace kernels = vexel::kernels;
    const auto width = static_cast<std::ptrdiff_t>(1 + rows.below(mostColumns));
    const auto row = rows.bytes(width);
    const auto alpha = rows.bytes(width);
    auto sums = rows.sums(width);
    auto counts = rows.sums(width);
    kernels::addRow(row.data(), sums.data(), width);
    note(results["addRow"], sums);
    kernels::addRow(row.data(), alpha.data(), sums.data(), counts.data(), width);
    note(results["addRow with alpha"], sums);
    note(results["addRow with alpha"], counts);

    auto extreme = rows.bytes(width);
    kernels::keepLowest(row.data(), extreme.data(), width);
    note(results["keepLowest"], extreme);
    extreme = rows.bytes(width);
    kernels::keepLowest(row.data(), alpha.data(), extreme.data(), width);
    note(results["keepLowest with alpha"], extreme);
    extreme = rows.bytes(width);
    kernels::keepHighest(row.data(), extreme.data(), width);
    note(results["keepHighest"], extreme);
    extreme = rows.bytes(width);
    kernels::keepHighest(row.data(), alpha.data(), extreme.data(), width);
    note(results["keepHighest with alpha"], extreme);
    results["joinedBits"].push_back(kernels::joinedBits(alpha.data(), width));
}

void runBlockKernels(Rows& rows, Results& results)
{
    namespace kernels = vexel::kernels;
    const auto length = static_cast<std::ptrdiff_t>(1 + rows.below(9));
    const auto blocks = static_cast<std::ptrdiff_t>(1 + rows.below(70));
    std::vector<float> means(static_cast<std::size_t>(blocks));
    const auto sums = rows.sums(length * blocks);
    const auto counts = rows.sums(length * blocks);
    kernels::meansOfBlocks(sums.data(), counts.data(), length, blocks, means.data());
    note(results["meansOfBlocks"], means);
    std::vector<unsigned char> extremes(static_cast<std::size_t>(blocks));
    kernels::lowestOfBlocks(rows.bytes(length * blocks).data(), length, blocks, extremes.data());
    note(results["lowestOfBlocks"], extremes);
    kernels::highestOfBlocks(rows.bytes(length * blocks).data(), length, blocks, extremes.data());
    note(results["highestOfBlocks"], extremes);
}

void runNetworks(Rows& rows, Results& results)
{
    const std::size_t places = 2 + rows.below(63);
    const auto network = vexel::kernels::selectionNetwork(places, rows.below(places));
    auto floats = rows.floats(static_cast<std::ptrdiff_t>(places) * lanes);
    vexel::kernels::runNetwork(network, floats.data());
    note(results["runNetwork of floats"], floats);
    auto bytes = rows.bytes(static_cast<std::ptrdiff_t>(places) * lanes);
    vexel::kernels::runNetwork(network, bytes.data());
    note(results["runNetwork of bytes"], bytes);
}

void runRecursion(Rows& rows, Results& results)
{
    const auto height = static_cast<std::ptrdiff_t>(2 * rows.below(mostColumns / 2) + 1);
    const auto width = static_cast<std::ptrdiff_t>(2 * rows.below(mostColumns / 2) + 1);
    const float sigmas[] = {0.3f, 1.7f, 10.0f, 300.0f, 1e5f};
    const float sigma = sigmas[rows.below(5)];
    const vexel::GaussRecursion recursion(sigma, static_cast<int>(2 + rows.below(3)));
    auto image = rows.oddImage(height, width);
    recursion.filterColumns({image.data(), height, width, width});
    note(results["filterColumns"], image);
    image = rows.oddImage(height, width);
    recursion.filterRows({image.data(), height, width, width});
    note(results["filterRows"], image);
}

template <class T>
std::vector<const T*> firstsOf(const std::vector<std::vector<T>>& rows)
{
    std::vector<const T*> firsts;
    for (const std::vector<T>& row : rows)
        firsts.push_back(row.data());
    return firsts;
}

/// What is wanted of a row of windows.
struct Windows
{
    const vexel::GaussKernel& kernel;
    std::ptrdiff_t columns; ///< with those on either side that only windows reach
    std::vector<std::ptrdiff_t> samples;

    vexel::SampledPixels sampled() const
    {
        return {samples.data(), static_cast<std::ptrdiff_t>(samples.size()), 0};
    }
};

/// @param sumRows puts the sums into the array that it is handed.
template <class SumRows>
void noteSummed(const Windows& windows, const SumRows& sumRows, Bits& bits)
{
    std::vector<float> sums(static_cast<std::size_t>(windows.columns));
    std::vector<float> smooth(windows.samples.size());
    sumRows(sums.data());
    noteSums(bits, sums);
    windows.kernel.sumColumns(sums.data(), windows.sampled(), smooth.data());
    noteSums(bits, smooth);
}

template <class SumRows>
void noteMeans(const Windows& windows, const SumRows& sumRows, Bits& bits)
{
    const auto columns = static_cast<std::size_t>(windows.columns);
    std::vector<float> sums(columns);
    std::vector<float> weights(columns);
    std::vector<float> lowest(columns);
    std::vector<float> highest(columns);
    std::vector<float> means(windows.samples.size());
    const vexel::ValidSums valid{sums.data(), weights.data(), lowest.data(), highest.data()};
    sumRows(valid);
    noteSums(bits, sums);
    note(bits, weights);
    note(bits, lowest);
    note(bits, highest);
    windows.kernel.meanOfColumns(valid, windows.sampled(), means.data());
    noteSums(bits, means);
}

void runConvolution(Rows& rows, Results& results)
{
    const auto reach = static_cast<int>(rows.below(20));
    const vexel::GaussKernel kernel(0.3 + 0.2 * reach, reach);
    const auto more = static_cast<std::ptrdiff_t>(rows.below(mostColumns));
    Windows windows{kernel, 2 * reach + 1 + more, {}};
    for (std::ptrdiff_t x = reach; x < windows.columns - reach;
         x += 1 + static_cast<std::ptrdiff_t>(rows.below(3)))
        windows.samples.push_back(x);
    std::vector<std::vector<unsigned char>> bytes;
    std::vector<std::vector<unsigned char>> alphas;
    std::vector<std::vector<float>> floats;
    for (int k = 0; k < kernel.size(); ++k) {
        bytes.push_back(rows.bytes(windows.columns));
        alphas.push_back(rows.bytes(windows.columns));
        floats.push_back(rows.floats(windows.columns, 1000));
    }
    const std::ptrdiff_t columns = windows.columns;
    noteSummed(
        windows, [&](float* out) { kernel.sumRows(firstsOf(bytes).data(), columns, out); },
        results["sumRows and sumColumns of bytes"]);
    noteSummed(
        windows, [&](float* out) { kernel.sumRows(firstsOf(floats).data(), columns, out); },
        results["sumRows and sumColumns of floats"]);
    noteMeans(
        windows,
        [&](const vexel::ValidSums& out) {
            kernel.sumValidRows(firstsOf(bytes).data(), firstsOf(alphas).data(), columns, out);
        },
        results["sumValidRows and meanOfColumns of bytes"]);
    noteMeans(
        windows,
        [&](const vexel::ValidSums& out) { kernel.sumValidRows(firstsOf(floats).data(), columns, out); },
        results["sumValidRows and meanOfColumns of floats"]);
}

Results runKernels()
{
    Rows rows;
    Results results;
    for (int round = 0; round < rounds; ++round) {
        runLaneKernels(rows, results);
        runSelections(rows, results);
        runGathers(rows, results);
        runRowKernels(rows, results);
        runBlockKernels(rows, results);
        runNetworks(rows, results);
        runRecursion(rows, results);
        runConvolution(rows, results);
    }
    return results;
}

} // namespace
