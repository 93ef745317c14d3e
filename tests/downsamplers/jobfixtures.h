#ifndef VEXEL_TESTS_DOWNSAMPLERS_JOBFIXTURES_H
#define VEXEL_TESTS_DOWNSAMPLERS_JOBFIXTURES_H

#include "companion/JobRunner.h"
#include "companion/Worker.h"
#include "support/rasters.h"

/// What the tests of downsamplers under a job runner share.
namespace downsamplerjobtest {

using vexel::JobRunner;

inline double pixel(int x, int y, int band)
{
    return 250.0 * rasters::noise(x, y, band);
}

/// Runs a job; the callback may stop the runner.
template <class Told>
JobRunner::Result run(vexel::Worker& job, const Told& told,
                      JobRunner::Incomplete incomplete = JobRunner::Incomplete::Discard)
{
    JobRunner runner;
    runner.setIncomplete(incomplete);
    runner.setProgress([&](const JobRunner::Progress& progress) { told(runner, progress); });
    return runner.run(job);
}

inline JobRunner::Result run(vexel::Worker& job)
{
    return JobRunner().run(job);
}

inline void stopAtOnce(JobRunner& runner, const JobRunner::Progress&)
{
    runner.stop();
}

} // namespace downsamplerjobtest

#endif
