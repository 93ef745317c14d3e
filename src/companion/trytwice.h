#ifndef VEXEL_COMPANION_TRYTWICE_H
#define VEXEL_COMPANION_TRYTWICE_H

namespace vexel {

/// Does `work()`, and once more if it throws. For cleaning up where no exception may come out: even deleting a file
/// needs memory for its path, and memory may be short just then. By the second try, more of it may have been released.
/// If that fails too, the work is left undone.
template <class Work>
void tryTwice(const Work& work) noexcept
{
    for (int attempt = 0; attempt < 2; ++attempt)
        try {
            work();
            return;
        } catch (...) {
        }
}

} // namespace vexel

#endif
