#include "support/oldstylejpeg.h"

#include "support/files.h"
#include "support/rasters.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::string littleEndian(std::uint32_t value, int bytes)
{
    std::string text;
    for (int i = 0; i < bytes; ++i)
        text += static_cast<char>((value >> (8 * i)) & 0xFF);
    return text;
}

/// A TIFF directory under construction; offsets count from the start of the file.
class Directory
{
public:
    void addShort(int tag, std::uint32_t value) { add(tag, 3, 1, littleEndian(value, 2)); }
    void addLong(int tag, std::uint32_t value) { add(tag, 4, 1, littleEndian(value, 4)); }
    void addShorts(int tag, const std::vector<std::uint32_t>& values)
    {
        std::string bytes;
        for (const std::uint32_t value : values)
            bytes += littleEndian(value, 2);
        add(tag, 3, static_cast<std::uint32_t>(values.size()), bytes);
    }

    /// The bytes of the directory at that place, values that need more than four bytes behind it.
    std::string bytes(std::uint32_t place) const
    {
        const std::uint32_t behind = place + 2 + 12 * static_cast<std::uint32_t>(m_entries.size()) + 4;
        std::string directory = littleEndian(static_cast<std::uint32_t>(m_entries.size()), 2);
        std::string values;
        for (const Entry& entry : m_entries) {
            directory +=
                littleEndian(entry.tag, 2) + littleEndian(entry.type, 2) + littleEndian(entry.count, 4);
            if (entry.value.size() > 4) {
                directory += littleEndian(behind + static_cast<std::uint32_t>(values.size()), 4);
                values += entry.value;
            } else {
                directory += entry.value + std::string(4 - entry.value.size(), '\0');
            }
        }
        return directory + littleEndian(0, 4) + values;
    }

private:
    struct Entry
    {
        std::uint32_t tag;
        std::uint32_t type;
        std::uint32_t count;
        std::string value;
    };

    void add(int tag, std::uint32_t type, std::uint32_t count, const std::string& value)
    {
        m_entries.push_back({static_cast<std::uint32_t>(tag), type, count, value});
    }

    std::vector<Entry> m_entries;
};

/// Where the compressed pixels of a baseline JPEG begin, behind the marker segments.
std::size_t startOfPixels(const std::string& jpeg)
{
    std::size_t place = 2;
    while (place + 4 <= jpeg.size()) {
        const auto marker = static_cast<unsigned char>(jpeg[place + 1]);
        const std::size_t length =
            static_cast<std::size_t>(static_cast<unsigned char>(jpeg[place + 2])) * 256 +
            static_cast<unsigned char>(jpeg[place + 3]);
        place += 2 + length;
        if (marker == 0xDA)
            return place;
    }
    throw std::runtime_error("no JPEG");
}

} // namespace

void makeOldStyleJpeg(const QString& path, const QString& folder, int width, int height)
{
    const QString jpegPath = folder + "/on the way.jpg";
    rasters::Description d{width, height, 3};
    d.driver = "JPEG";
    rasters::make(jpegPath, d,
                  [](int x, int y, int band) { return 128 + 100 * std::sin(0.11 * x + 0.07 * y + band); });
    const std::string jpeg = fileText(jpegPath);
    std::filesystem::remove(jpegPath.toStdString());

    constexpr std::uint32_t start = 8;
    const auto length = static_cast<std::uint32_t>(jpeg.size());
    const auto pixels = static_cast<std::uint32_t>(startOfPixels(jpeg));
    Directory directory;
    directory.addLong(256, static_cast<std::uint32_t>(width));
    directory.addLong(257, static_cast<std::uint32_t>(height));
    directory.addShorts(258, {8, 8, 8});
    directory.addShort(259, 6); // compression
    directory.addShort(262, 6); // YCbCr
    directory.addLong(273, start + pixels);
    directory.addShort(277, 3);
    directory.addLong(278, static_cast<std::uint32_t>(height)); // rows of the strip
    directory.addLong(279, length - pixels);
    directory.addShort(284, 1);
    directory.addShort(512, 1); // baseline
    directory.addLong(513, start);
    directory.addLong(514, length);
    directory.addShorts(530, {2, 2}); // subsampling
    const std::uint32_t place = start + length + length % 2;
    makeFile(path, std::string("II*\0", 4) + littleEndian(place, 4) + jpeg + std::string(length % 2, '\0') +
                       directory.bytes(place));
}
