#include "mutations.h"

#include <algorithm>

namespace oddinput {

namespace {

/// A place in the file, one time in two among the first bytes: headers are where damage shows.
std::size_t placeIn(const std::string& bytes, Dice& dice)
{
    constexpr std::size_t headerSize = 320;
    const bool inHeader = dice.below(2) == 0;
    return dice.below(std::max<std::size_t>(inHeader ? std::min(bytes.size(), headerSize) : bytes.size(), 1));
}

void flipBits(std::string& bytes, Dice& dice)
{
    for (std::size_t count = 1 + dice.below(8); count > 0 && !bytes.empty(); --count) {
        char& byte = bytes[placeIn(bytes, dice)];
        byte = static_cast<char>(static_cast<unsigned char>(byte) ^ (1u << dice.below(8)));
    }
}

/// Puts a number of 1, 2, 4 or 8 bytes at an even place that headers keep numbers at, in either byte order.
void replaceNumber(std::string& bytes, Dice& dice)
{
    constexpr std::uint64_t numbers[] = {0,
                                         1,
                                         2,
                                         255,
                                         256,
                                         0x7FFF,
                                         0x8000,
                                         0xFFFF,
                                         0x10000,
                                         0x7FFFFFFF,
                                         0x80000000,
                                         0xFFFFFFFF,
                                         0x7FFFFFFFFFFFFFFF,
                                         0xFFFFFFFFFFFFFFFF};
    const std::uint64_t number = numbers[dice.below(sizeof numbers / sizeof *numbers)];
    const std::size_t size = std::size_t{1} << dice.below(4);
    const bool bigEndian = dice.below(2) == 0;
    const std::size_t place = placeIn(bytes, dice) & ~std::size_t{1};
    for (std::size_t i = 0; i < size && place + i < bytes.size(); ++i) {
        const std::size_t shift = 8 * (bigEndian ? size - 1 - i : i);
        bytes[place + i] = static_cast<char>((number >> shift) & 0xFFu);
    }
}

/// Replaces a digit, where the file has any: headers that are texts.
void replaceDigit(std::string& bytes, Dice& dice)
{
    const std::size_t place = bytes.find_first_of("0123456789", placeIn(bytes, dice));
    const std::string digits[] = {"0", "1", "9", "-1", "99999999", "2147483647", "1e300", "nan"};
    if (place != std::string::npos)
        bytes.replace(place, 1, digits[dice.below(sizeof digits / sizeof *digits)]);
}

void truncate(std::string& bytes, Dice& dice)
{
    bytes.resize(dice.below(bytes.size() + 1));
}

void insertRun(std::string& bytes, Dice& dice)
{
    const std::size_t kind = dice.below(3);
    std::string run(1 + dice.below(64), kind == 0 ? '\0' : '\xFF');
    if (kind == 2)
        for (char& byte : run)
            byte = static_cast<char>(dice.below(256));
    bytes.insert(placeIn(bytes, dice), run);
}

void doubleRun(std::string& bytes, Dice& dice)
{
    const std::string run = bytes.substr(placeIn(bytes, dice), 1 + dice.below(200));
    bytes.insert(placeIn(bytes, dice), run);
}

void spliceHead(std::string& bytes, const std::string& other, Dice& dice)
{
    const std::size_t place = placeIn(bytes, dice);
    bytes = other.substr(0, place) + (place < bytes.size() ? bytes.substr(place) : std::string());
}

} // namespace

std::string mutated(const std::string& original, const std::string& other, Dice& dice)
{
    // Few other changes leave a text that can be parsed.
    const bool isText = !original.empty() && original.front() == '<';
    std::string bytes = original;
    for (std::size_t count = 1 + dice.below(2); count > 0; --count)
        switch (isText && dice.below(4) != 0 ? 6 : dice.below(9)) {
        case 0:
            truncate(bytes, dice);
            break;
        case 1:
            insertRun(bytes, dice);
            break;
        case 2:
            doubleRun(bytes, dice);
            break;
        case 3:
            spliceHead(bytes, other, dice);
            break;
        case 4:
        case 5:
            replaceNumber(bytes, dice);
            break;
        case 6:
            replaceDigit(bytes, dice);
            break;
        default:
            flipBits(bytes, dice);
            break;
        }
    return bytes;
}

} // namespace oddinput
