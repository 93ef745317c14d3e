#ifndef VEXEL_STREAMING_COMPLETION_H
#define VEXEL_STREAMING_COMPLETION_H

#include <exception>
#include <functional>
#include <utility>

namespace vexel {

/// How files are completed for somebody who wants to know: tells how far that is, stops when it is asked to, and lets
/// other threads have GDAL meanwhile. Files that are completed without one do none of this.
class Completion
{
public:
    using Progress = std::function<bool(double)>;

    /// @param progress told the share of all files, false to stop; may be empty. Called without the GDAL lock, unless the
    ///                 caller holds it too.
    /// @param bytes    of the pixels of all files.
    Completion(Progress progress, double bytes) : m_progress(std::move(progress)), m_allBytes(bytes) {}

    void beginFile(double bytes) { m_fileBytes = bytes; }
    /// False if completing was stopped.
    bool endFile();

    /// Tells how much of the file is complete, and gives way to those who wait for the lock. False if it is to stop, from
    /// then on without asking anybody. Lets no exception out, since GDAL calls this.
    bool report(double shareOfFile) noexcept;

    bool isStopped() const { return m_isStopped; }
    /// Rethrows what the progress function threw, which stops like a false.
    void rethrow() const;

private:
    bool tell(double share) noexcept;

    Progress m_progress;
    double m_allBytes;
    double m_doneBytes = 0.0;
    double m_fileBytes = 0.0;
    bool m_isStopped = false;
    std::exception_ptr m_failure;
};

} // namespace vexel

#endif
