#ifndef VEXEL_TESTS_ODDINPUT_MUTATIONS_H
#define VEXEL_TESTS_ODDINPUT_MUTATIONS_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

namespace oddinput {

/// Numbers that are the same on every system for the same seed.
class Dice
{
public:
    explicit Dice(std::uint64_t seed) : m_engine(seed) {}

    /// A number from 0 to `count` - 1; `count` is at least 1.
    std::size_t below(std::size_t count) { return static_cast<std::size_t>(m_engine() % count); }

private:
    std::mt19937_64 m_engine;
};

/// A damaged copy of a file: bits flipped, numbers replaced, cut off, a run inserted or doubled, or the head of
/// another file put before the rest.
std::string mutated(const std::string& original, const std::string& other, Dice& dice);

} // namespace oddinput

#endif
