#include "companion/Worker.h"

#include <algorithm>
#include <utility>

namespace vexel {

Worker::Worker(std::size_t concurrency) : m_concurrency(concurrency) {}

Worker::~Worker() = default;

Worker::Progress Worker::setProgress(Progress progress)
{
    return std::exchange(m_progress, std::move(progress));
}

StreamError Worker::complete()
{
    if (m_isDiscarded)
        return {StreamError::Code::NotOpen, QString(), "The job was discarded"};
    if (m_isCompleting || !m_complete)
        return m_completed;
    m_isCompleting = true;
    // If the action throws, this is what a second call says.
    m_completed = {StreamError::Code::CannotComplete, QString(), "Completing ended with an exception"};
    m_completed = m_complete([this](double share) { return reportProgress(share); });
    return m_completed;
}

double Worker::shareOfCompleting() const
{
    const double share = m_shareOfCompleting ? m_shareOfCompleting() : 0.0;
    return share > 0.0 ? std::min(share, 1.0) : 0.0; // 0 for NaN
}

void Worker::discard()
{
    m_isDiscarded = true;
    if (m_discard)
        m_discard();
}

bool Worker::reportProgress(double share) const
{
    return !m_progress || m_progress(share);
}

void Worker::reportUnread(std::uint64_t pixels)
{
    m_unread += pixels;
}

void Worker::onDiscard(std::function<void()> action)
{
    m_discard = std::move(action);
}

void Worker::onComplete(std::function<StreamError(const Progress&)> action, std::function<double()> share)
{
    m_complete = std::move(action);
    m_shareOfCompleting = std::move(share);
}

} // namespace vexel
