#include "interlacedpng.h"

#include <algorithm>
#include <cstdint>

namespace zoo {

namespace {

std::string bigEndian(std::uint32_t value)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>((value >> shift) & 0xFFu);
    return bytes;
}

std::uint32_t crc32(const std::string& bytes)
{
    std::uint32_t crc = 0xFFFFFFFFu;
    for (const char c : bytes) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1u) != 0 ? 0xEDB88320u : 0u);
    }
    return ~crc;
}

std::uint32_t adler32(const std::string& bytes)
{
    std::uint32_t a = 1;
    std::uint32_t b = 0;
    for (const char c : bytes) {
        a = (a + static_cast<unsigned char>(c)) % 65521u;
        b = (b + a) % 65521u;
    }
    return (b << 16) | a;
}

std::string chunk(const std::string& type, const std::string& content)
{
    return bigEndian(static_cast<std::uint32_t>(content.size())) + type + content +
           bigEndian(crc32(type + content));
}

/// A zlib stream of stored blocks.
std::string stored(const std::string& bytes)
{
    constexpr std::size_t largest = 65535;
    std::string stream = "\x78\x01";
    for (std::size_t start = 0; start < bytes.size(); start += largest) {
        const std::string part = bytes.substr(start, largest);
        const bool isLast = start + part.size() == bytes.size();
        const std::size_t size = part.size();
        stream += static_cast<char>(isLast ? 1 : 0);
        for (const std::size_t number : {size, ~size})
            for (const int shift : {0, 8})
                stream += static_cast<char>((number >> shift) & 0xFFu);
        stream += part;
    }
    return stream + bigEndian(adler32(bytes));
}

/// One of the seven passes that an interlaced image consists of.
struct Pass
{
    int left, top, stepX, stepY;
};

constexpr Pass passes[] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                           {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};

} // namespace

std::string interlacedPng(int width, int height, int samples,
                          const std::function<unsigned char(int x, int y, int sample)>& value)
{
    std::string pixels;
    for (const Pass& pass : passes)
        for (int y = pass.top; y < height && pass.left < width; y += pass.stepY) {
            pixels += '\0'; // the row is not filtered
            for (int x = pass.left; x < width; x += pass.stepX)
                for (int sample = 0; sample < samples; ++sample)
                    pixels += static_cast<char>(value(x, y, sample));
        }
    constexpr char colourTypes[] = {0, 4, 2, 6};
    std::string header =
        bigEndian(static_cast<std::uint32_t>(width)) + bigEndian(static_cast<std::uint32_t>(height));
    header += {8, colourTypes[samples - 1], 0, 0, 1};
    return "\x89PNG\r\n\x1A\n" + chunk("IHDR", header) + chunk("IDAT", stored(pixels)) + chunk("IEND", "");
}

std::string withPngChecksums(std::string bytes)
{
    constexpr std::size_t besides = 12; // length, type and checksum of a chunk
    std::size_t start = 8;
    while (start + besides <= bytes.size()) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < 4; ++i)
            length = (length << 8) | static_cast<unsigned char>(bytes[start + i]);
        if (length > bytes.size() - start - besides)
            break;
        bytes.replace(start + 8 + length, 4, bigEndian(crc32(bytes.substr(start + 4, 4 + length))));
        start += besides + length;
    }
    return bytes;
}

} // namespace zoo
