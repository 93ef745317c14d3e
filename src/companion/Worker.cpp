#include "companion/Worker.h"

#include <utility>

namespace vexel {

Worker::Worker(std::size_t concurrency) : m_concurrency(concurrency) {}

Worker::~Worker() = default;

Worker::Progress Worker::setProgress(Progress progress)
{
    return std::exchange(m_progress, std::move(progress));
}

void Worker::discard()
{
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

} // namespace vexel
