#ifndef VEXEL_FUZZ_FUZZINPUT_H
#define VEXEL_FUZZ_FUZZINPUT_H

#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace fuzz {

/// What GDAL may keep of decoded blocks.
constexpr int cacheBytes = 16 << 20;

/// Takes the bytes that libFuzzer hands out apart. Beyond the end all is zero.
class FuzzInput
{
public:
    FuzzInput(const std::uint8_t* bytes, std::size_t size) : m_next(bytes), m_left(size) {}

    /// A number with the bytes that come next, whatever it is.
    template <class T>
    T take()
    {
        T value{};
        const std::size_t size = sizeof value < m_left ? sizeof value : m_left;
        if (size > 0)
            std::memcpy(&value, m_next, size);
        m_next += size;
        m_left -= size;
        return value;
    }

    /// A number from `first` to `last`.
    int takeFrom(int first, int last)
    {
        return first + static_cast<int>(take<std::uint16_t>() % static_cast<unsigned>(last - first + 1));
    }

    std::string rest() const { return std::string(reinterpret_cast<const char*>(m_next), m_left); }
    std::size_t left() const { return m_left; }

private:
    const std::uint8_t* m_next;
    std::size_t m_left;
};

/// Ends the process, so that libFuzzer keeps the input, unless `holds`. Other than an assertion in any build.
void require(bool holds, const char* what);

/// Silences the library's and GDAL's messages and leaves only the formats that are fuzzed. Called by each target
/// first of all; only the first call does anything.
void prepare();

/// A new folder among the system's temporary files, which nobody removes.
QString temporaryFolder();

} // namespace fuzz

#endif
