#include "companion/Worker.h"

namespace vexel {

Worker::Worker(std::size_t concurrency) : m_concurrency(concurrency) {}

Worker::~Worker() = default;

} // namespace vexel
