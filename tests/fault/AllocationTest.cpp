#include "downsamplers/DownsamplerFactory.h"
#include "fault/allocations.h"
#include "fault/resources.h"
#include "fault/targets.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/figures.h"
#include "support/listing.h"
#include "support/rasters.h"
#include "utilities/verify.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <sstream>

// Memory runs out: each allocation of an operation fails once, in a run of its own.

namespace {

using namespace faults;
using vexel::DataType;
using vexel::GDALStreamer;

const Target single{"single.tif", 50, 40, 3, DataType::UInt8, 0, 0, true};
const Target tiled{"tiled.tif", 50, 40, 2, DataType::Float32, 32, 40, true};
const Target floats{"floats.tif", 50, 40, 2, DataType::Float32};
const Target image{"image.png", 50, 40, 3, DataType::UInt8};

/// What is done while an allocation fails, made anew for each allocation.
class Operation
{
public:
    virtual ~Operation() = default;

    /// Does it. False if it failed.
    virtual bool run() = 0;
    /// Shows that all is right after it succeeded.
    virtual void checkSuccess() = 0;
    /// Shows what holds after it failed, and that it can be done again.
    virtual void checkFailure()
    {
        ASSERT_TRUE(run());
        checkSuccess();
    }
};

using Make = std::function<std::unique_ptr<Operation>(const QString& folder)>;

struct Outcomes
{
    int thrown = 0;
    int told = 0;
    int coped = 0;
};

/// Runs the operation with the n-th allocation failing. False if it has not as many.
bool runFailing(Operation& operation, long n, Outcomes& outcomes)
{
    bool done = false;
    bool thrown = false;
    allocations::failNth(n);
    try {
        done = operation.run();
    } catch (const std::bad_alloc&) {
        thrown = true;
    } catch (...) {
        allocations::stop();
        ADD_FAILURE() << "another exception than std::bad_alloc";
        return true;
    }
    const bool failed = allocations::stop();
    EXPECT_TRUE(failed || done) << "fails with all its memory";
    outcomes.thrown += thrown;
    outcomes.told += !done && !thrown;
    outcomes.coped += failed && done;
    if (done)
        operation.checkSuccess();
    else
        operation.checkFailure();
    return failed;
}

void failEachAllocation(const Make& make, Outcomes& outcomes, long& noAllocations)
{
    bool more = true;
    for (noAllocations = 0; more && !testing::Test::HasFailure(); noAllocations += more) {
        SCOPED_TRACE("allocation " + std::to_string(noAllocations + 1));
        const TempFolder folder;
        const std::string held = heldResources();
        {
            const LogCapture log;
            const std::unique_ptr<Operation> operation = make(folder.path());
            more = runFailing(*operation, noAllocations + 1, outcomes);
        }
        EXPECT_EQ(heldResources(), held);
    }
}

// The operations.

class ReadOperation : public Operation
{
public:
    ReadOperation(const QString& folder, const Target& target) : m_target(target)
    {
        EXPECT_EQ(writeTarget(folder, target), "");
        EXPECT_TRUE(m_set.openRead(folder + "/" + target.name));
    }

    bool run() override { return m_set.read(m_pixels, 2, m_box, 1.0, true, -1.0f); }

    void checkSuccess() override { checkBand(2, 0); }

    void checkFailure() override
    {
        EXPECT_TRUE(m_set.opened());
        EXPECT_FALSE(m_set.opened(0)) << "the file is still open";
        Operation::checkFailure();
    }

protected:
    void checkBand(int band, int firstRow)
    {
        for (int y = 0; y < 36; ++y)
            for (int x = 0; x < 45; ++x)
                ASSERT_EQ(static_cast<double>(m_pixels(firstRow + y, x)),
                          pixelOf(m_target, x + 3, y + 2, band))
                    << "band " << band << ", column " << x << ", row " << y;
    }

    const Target& m_target;
    const vexel::PixelBox m_box{vexel::PixelPoint(3, 2), vexel::PixelPoint(48, 38)};
    GDALStreamer m_set;
    vexel::PixelMatrix<float> m_pixels;
};

class ReadBandsOperation : public ReadOperation
{
public:
    using ReadOperation::ReadOperation;

    bool run() override { return m_set.readBands(m_pixels, {2, 1}, m_box, 1.0, true, -1.0f); }

    void checkSuccess() override
    {
        checkBand(2, 0);
        checkBand(1, 36);
    }
};

class OpenReadOperation : public Operation
{
public:
    OpenReadOperation(const QString& folder, const Target& target) : m_target(target), m_folder(folder)
    {
        EXPECT_EQ(writeTarget(folder, target), "");
    }

    bool run() override { return m_set.openRead(m_folder + "/" + m_target.name); }

    void checkSuccess() override
    {
        EXPECT_TRUE(m_set.opened());
        EXPECT_EQ(m_set.width(), m_target.width);
        EXPECT_EQ(m_set.height(), m_target.height);
        EXPECT_EQ(m_set.noTiles(), filesOf(m_target).size());
        vexel::PixelMatrix<float> pixels;
        EXPECT_TRUE(m_set.read(pixels, 1, vexel::PixelBox(), 1.0, true, 0.0f));
        EXPECT_EQ(static_cast<double>(pixels(39, 49)), pixelOf(m_target, 49, 39, 1));
    }

    void checkFailure() override
    {
        EXPECT_FALSE(m_set.opened()) << "not empty after a failure";
        EXPECT_EQ(m_set.noBands(), 0u);
        EXPECT_EQ(m_set.noTiles(), 0u);
        Operation::checkFailure();
    }

private:
    const Target& m_target;
    QString m_folder;
    GDALStreamer m_set;
};

/// The operations of writing; each is checked by writing all of the target in the end.
class WritingOperation : public Operation
{
public:
    WritingOperation(const QString& folder, const Target& target) : m_target(target), m_folder(folder) {}

    void checkSuccess() override
    {
        finish();
        EXPECT_FALSE(m_set.lastError()) << m_set.lastError().text.toStdString();
        for (const TargetFile& file : filesOf(m_target))
            EXPECT_EQ(faultOf(m_folder, m_target, file), "");
        EXPECT_EQ(listing(m_folder), listingOf({m_target}));
    }

protected:
    virtual void finish() = 0;

    const Target& m_target;
    QString m_folder;
    GDALStreamer m_set;
};

/// Replaces a raster that is there.
class OpenWriteOperation : public WritingOperation
{
public:
    OpenWriteOperation(const QString& folder, const Target& target) : WritingOperation(folder, target)
    {
        EXPECT_EQ(writeTarget(folder, target), "");
    }

    bool run() override { return openTarget(m_set, m_folder, m_target); }

    void checkFailure() override
    {
        ASSERT_FALSE(m_set.opened()) << "not empty after a failure";
        EXPECT_FALSE(writeRows(m_set, m_target, 0, m_target.height));
        WritingOperation::checkFailure();
    }

private:
    void finish() override
    {
        EXPECT_TRUE(writeRows(m_set, m_target, 0, m_target.height));
        m_set.close();
    }
};

/// The first transfer, which makes the working files.
class WriteOperation : public WritingOperation
{
public:
    WriteOperation(const QString& folder, const Target& target) : WritingOperation(folder, target)
    {
        EXPECT_TRUE(openTarget(m_set, folder, target));
        m_pixels.resize(target.height, target.width);
        for (int y = 0; y < target.height; ++y)
            for (int x = 0; x < target.width; ++x)
                m_pixels(y, x) = static_cast<float>(pixelOf(target, x, y, 1));
    }

    bool run() override { return m_set.write(m_pixels, 1, vexel::PixelBox()); }

private:
    void finish() override
    {
        vexel::PixelMatrix<float> others(m_target.height, m_target.width);
        for (int band = 2; band <= m_target.bands; ++band) {
            for (int y = 0; y < m_target.height; ++y)
                for (int x = 0; x < m_target.width; ++x)
                    others(y, x) = static_cast<float>(pixelOf(m_target, x, y, band));
            EXPECT_TRUE(m_set.write(others, static_cast<std::size_t>(band), vexel::PixelBox()));
        }
        m_set.close();
    }

    vexel::PixelMatrix<float> m_pixels;
};

class CloseOperation : public WritingOperation
{
public:
    CloseOperation(const QString& folder, const Target& target) : WritingOperation(folder, target)
    {
        EXPECT_TRUE(openTarget(m_set, folder, target));
        EXPECT_TRUE(writeRows(m_set, target, 0, target.height));
    }

    bool run() override { return m_set.close() && !m_set.lastError(); }

    /// Files that could not be completed are not there, nor is anything beside them.
    void checkFailure() override
    {
        m_set.close();
        for (const TargetFile& file : filesOf(m_target))
            if (std::filesystem::exists((m_folder + "/").toStdString() + file.name)) {
                EXPECT_EQ(faultOf(m_folder, m_target, file), "");
            }
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.toStdString()))
            EXPECT_EQ(entry.path().string().find("_tmp.tif"), std::string::npos) << entry.path();
        EXPECT_EQ(writeTarget(m_folder, m_target), "");
        EXPECT_EQ(listing(m_folder), listingOf({m_target}));
    }

private:
    void finish() override {}
};

class StepOperation : public Operation
{
public:
    StepOperation(const QString& folder, vexel::DownsamplingStrategy strategy, const Target& target)
        : m_in(folder + "/" + target.name), m_out(folder + "/out.tif"), m_strategy(strategy)
    {
        EXPECT_EQ(writeTarget(folder, target), "");
        m_expected = undisturbed();
        m_job = make(m_out);
        EXPECT_TRUE(m_job->do_init(m_steps));
    }

    bool run() override { return m_job->do_step(0); }

    void checkSuccess() override
    {
        for (std::size_t step = 1; step < m_steps; ++step)
            EXPECT_TRUE(m_job->do_step(step));
        m_job.reset();
        EXPECT_EQ(rasters::pixels(m_out, 1), m_expected);
    }

private:
    std::shared_ptr<vexel::Worker> make(const QString& out) const
    {
        return vexel::DownsamplerFactory::createDownsampler(m_strategy, m_in, out, QString(), 2.0,
                                                            vexel::ImageAlphaType::NoAlpha,
                                                            vexel::GdalFileType::SingleFile);
    }

    std::vector<double> undisturbed() const
    {
        EXPECT_TRUE(downsampling::run(*make(m_out + ".expected.tif")));
        return rasters::pixels(m_out + ".expected.tif", 1);
    }

    QString m_in;
    QString m_out;
    vexel::DownsamplingStrategy m_strategy;
    std::shared_ptr<vexel::Worker> m_job;
    std::size_t m_steps = 0;
    std::vector<double> m_expected;
};

/// Making a job: opens the input and prepares the output.
class CreateOperation : public Operation
{
public:
    explicit CreateOperation(const QString& folder) : m_folder(folder)
    {
        EXPECT_EQ(writeTarget(folder, single), "");
    }

    bool run() override
    {
        m_job = vexel::DownsamplerFactory::createDownsampler(
            vexel::DownsamplingStrategy::Gauss, m_folder + "/" + single.name, m_folder + "/out.tif",
            QString(), 2.0, vexel::ImageAlphaType::NoAlpha, vexel::GdalFileType::SingleFile);
        return m_job != nullptr;
    }

    void checkSuccess() override
    {
        EXPECT_TRUE(downsampling::run(*m_job));
        m_job.reset();
        EXPECT_EQ(rasters::pixels(m_folder + "/out.tif").size(), 25u * 20u);
    }

private:
    QString m_folder;
    std::shared_ptr<vexel::DownsamplerBase> m_job;
};

class VerifyOperation : public Operation
{
public:
    VerifyOperation(const QString& folder, const Target& target) : m_path(folder + "/" + target.name)
    {
        EXPECT_EQ(writeTarget(folder, target), "");
    }

    bool run() override { return vexel::gdal::verify(m_path, /*decode=*/true).isWhole(); }
    void checkSuccess() override {}

private:
    QString m_path;
};

template <class Kind>
Make onTarget(const Target& target)
{
    return [&target](const QString& folder) { return std::make_unique<Kind>(folder, target); };
}

Make stepOf(vexel::DownsamplingStrategy strategy, const Target& target)
{
    return [=, &target](const QString& folder) {
        return std::make_unique<StepOperation>(folder, strategy, target);
    };
}

struct OperationCase
{
    const char* name;
    Make make;
};

class EachAllocation : public testing::TestWithParam<OperationCase>
{};

TEST_P(EachAllocation, MayFail)
{
    CPLSetErrorHandler(CPLQuietErrorHandler);
    {
        // What GDAL keeps from the first use on.
        const TempFolder warm;
        const std::unique_ptr<Operation> operation = GetParam().make(warm.path());
        ASSERT_TRUE(operation->run());
        operation->checkSuccess();
    }
    Outcomes outcomes;
    long noAllocations = 0;
    failEachAllocation(GetParam().make, outcomes, noAllocations);
    CPLSetErrorHandler(CPLDefaultErrorHandler);
    EXPECT_GT(noAllocations, 0) << "there was nothing to fail";
    std::ostringstream figures;
    figures << GetParam().name << ": " << noAllocations << " allocations, thrown " << outcomes.thrown
            << ", reported " << outcomes.told << ", done all the same " << outcomes.coped;
    tellFigures(figures.str());
}

INSTANTIATE_TEST_SUITE_P(
    Of, EachAllocation,
    testing::Values(
        OperationCase{"Read", onTarget<ReadOperation>(single)},
        OperationCase{"ReadOfATileSet", onTarget<ReadOperation>(tiled)},
        OperationCase{"ReadBands", onTarget<ReadBandsOperation>(single)},
        OperationCase{"ReadBandsOfATileSet", onTarget<ReadBandsOperation>(tiled)},
        OperationCase{"Write", onTarget<WriteOperation>(single)},
        OperationCase{"WriteOfATileSet", onTarget<WriteOperation>(tiled)},
        OperationCase{"WriteOfAnImage", onTarget<WriteOperation>(image)},
        OperationCase{"OpenRead", onTarget<OpenReadOperation>(single)},
        OperationCase{"OpenReadOfATileSet", onTarget<OpenReadOperation>(tiled)},
        OperationCase{"OpenWrite", onTarget<OpenWriteOperation>(single)},
        OperationCase{"OpenWriteOfATileSet", onTarget<OpenWriteOperation>(tiled)},
        OperationCase{"Close", onTarget<CloseOperation>(single)},
        OperationCase{"CloseOfATileSet", onTarget<CloseOperation>(tiled)},
        OperationCase{"CloseOfAnImage", onTarget<CloseOperation>(image)},
        OperationCase{"CreateDownsampler",
                      [](const QString& folder) { return std::make_unique<CreateOperation>(folder); }},
        OperationCase{"StepOfAverage", stepOf(vexel::DownsamplingStrategy::Average, single)},
        OperationCase{"StepOfAverageOfFloats", stepOf(vexel::DownsamplingStrategy::Average, floats)},
        OperationCase{"StepOfGauss", stepOf(vexel::DownsamplingStrategy::Gauss, single)},
        OperationCase{"StepOfGaussOfFloats", stepOf(vexel::DownsamplingStrategy::Gauss, floats)},
        OperationCase{"Verify", onTarget<VerifyOperation>(single)},
        OperationCase{"VerifyOfATileSet", onTarget<VerifyOperation>(tiled)}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace
