#ifndef VEXEL_TESTS_SUPPORT_THREADS_H
#define VEXEL_TESTS_SUPPORT_THREADS_H

#ifdef _OPENMP
#include <omp.h>

/// How many threads a team has from now on, while the object lives.
class Threads
{
public:
    explicit Threads(int number) : m_before(omp_get_max_threads()) { omp_set_num_threads(number); }
    ~Threads() { omp_set_num_threads(m_before); }
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;

private:
    int m_before;
};
#else
class Threads
{
public:
    explicit Threads(int) {}
};
#endif

#endif
