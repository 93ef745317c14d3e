#ifndef VEXEL_COMPANION_WORKER_H
#define VEXEL_COMPANION_WORKER_H

#include "../export.h"

#include <cstddef>

namespace vexel {

/// Base class of stepwise jobs. A runner calls `do_init` once and then `do_step` for each index below the
/// number of steps.
class VEXEL_EXPORT Worker
{
public:
    /// @param concurrency how many steps a runner may run at the same time.
    explicit Worker(std::size_t concurrency);
    virtual ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Called once before any step. Sets the number of steps; false means that the job cannot run.
    virtual bool do_init(std::size_t& steps) = 0;

    /// Does one step, counted from 0; false means that it failed.
    virtual bool do_step(std::size_t step) = 0;

    std::size_t concurrency() const { return m_concurrency; }

private:
    std::size_t m_concurrency;
};

} // namespace vexel

#endif
