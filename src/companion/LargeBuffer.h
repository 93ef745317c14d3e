#ifndef VEXEL_COMPANION_LARGEBUFFER_H
#define VEXEL_COMPANION_LARGEBUFFER_H

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>
#include <type_traits>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace vexel {

/// Memory for many pixels, not cleared. Linux is asked to map it by large pages, which costs less to fill and to
/// walk through against the order of the rows; elsewhere the allocator decides.
template <class T>
class LargeBuffer
{
    static_assert(std::is_trivial_v<T>, "elements are neither constructed nor destroyed");

public:
    /// @throws std::bad_alloc if there is no memory for `count` elements.
    explicit LargeBuffer(std::size_t count)
    {
        if (count > (std::numeric_limits<std::size_t>::max() - largePage) / sizeof(T))
            throw std::bad_alloc();
        const std::size_t bytes = count * sizeof(T);
        m_first = static_cast<T*>(allocate(std::max(bytes, sizeof(T))));
        if (!m_first)
            throw std::bad_alloc();
    }

    ~LargeBuffer() { std::free(m_first); }

    LargeBuffer(const LargeBuffer&) = delete;
    LargeBuffer& operator=(const LargeBuffer&) = delete;

    T* data() const { return m_first; }

private:
    static constexpr std::size_t largePage = std::size_t{2} << 20;
    static constexpr std::size_t worthLargePages = 2 * largePage;

    static void* allocate(std::size_t bytes)
    {
#ifdef MADV_HUGEPAGE
        if (bytes >= worthLargePages) {
            const std::size_t pages = (bytes + largePage - 1) / largePage;
            void* const memory = std::aligned_alloc(largePage, pages * largePage);
            if (memory)
                madvise(memory, bytes, MADV_HUGEPAGE); // a wish, which may be denied
            return memory;
        }
#endif
        return std::malloc(bytes);
    }

    T* m_first = nullptr;
};

} // namespace vexel

#endif
