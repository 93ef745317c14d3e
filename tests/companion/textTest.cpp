#include "companion/text.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

struct SplitCase
{
    const char* name;
    const char* text;
    const char* separator;
    const char* kept; ///< pieces, each followed by '|'
    const char* withoutEmpty;
};

class Tokenize : public testing::TestWithParam<SplitCase>
{};

std::string joined(const QStringList& pieces)
{
    std::string text;
    for (const QString& piece : pieces)
        text += piece.toStdString() + "|";
    return text;
}

struct NumberCase
{
    const char* name;
    const char* text;
    int value;
};

class IntFromString : public testing::TestWithParam<NumberCase>
{};

struct RejectedCase
{
    const char* name;
    const char* text;
};

class IntFromStringRejects : public testing::TestWithParam<RejectedCase>
{};

} // namespace

TEST_P(Tokenize, KeepsEmptyPiecesUnlessToldOtherwise)
{
    const QString text = QString::fromUtf8(GetParam().text);
    EXPECT_EQ(joined(vexel::text::tokenize(text, GetParam().separator, /*skipEmpty=*/false)),
              GetParam().kept);
    EXPECT_EQ(joined(vexel::text::tokenize(text, GetParam().separator, /*skipEmpty=*/true)),
              GetParam().withoutEmpty);
}

INSTANTIATE_TEST_SUITE_P(
    All, Tokenize,
    testing::Values(SplitCase{"Tile", "my_ortho_12_5", "_", "my|ortho|12|5|", "my|ortho|12|5|"},
                    SplitCase{"NoSeparator", "ortho", "_", "ortho|", "ortho|"},
                    SplitCase{"Ends", "_a_", "_", "|a||", "a|"},
                    SplitCase{"Doubled", "a__b", "_", "a||b|", "a|b|"},
                    SplitCase{"SeparatorsOnly", "__", "_", "|||", ""}, SplitCase{"Empty", "", "_", "|", ""},
                    SplitCase{"LongSeparator", "a--b---c", "--", "a|b|-c|", "a|b|-c|"},
                    SplitCase{"CaseCounts", "aXbxc", "x", "aXb|c|", "aXb|c|"},
                    SplitCase{"NoPattern", "a.b*c", ".", "a|b*c|", "a|b*c|"},
                    SplitCase{"NonAscii", "\xC3\xA9_\xC3\xA0", "_", "\xC3\xA9|\xC3\xA0|",
                              "\xC3\xA9|\xC3\xA0|"},
                    SplitCase{"EmptySeparator", "abc", "", "abc|", "abc|"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_P(IntFromString, ReadsADecimalInteger)
{
    EXPECT_EQ(vexel::text::fromString<int>(GetParam().text), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(All, IntFromString,
                         testing::Values(NumberCase{"Zero", "0", 0}, NumberCase{"Plain", "42", 42},
                                         NumberCase{"Negative", "-7", -7},
                                         NumberCase{"LeadingZerosAreNotOctal", "010", 10},
                                         NumberCase{"Largest", "2147483647", 2147483647},
                                         NumberCase{"Smallest", "-2147483648", -2147483647 - 1}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(IntFromStringRejects, WhatIsNoDecimalIntegerNamingTheText)
{
    const QString text = QString::fromUtf8(GetParam().text);
    try {
        const int value = vexel::text::fromString<int>(text);
        FAIL() << "read as " << value;
    } catch (const std::invalid_argument& failure) {
        EXPECT_NE(std::string(failure.what()).find("'" + std::string(GetParam().text) + "'"),
                  std::string::npos)
            << failure.what();
    }
}

INSTANTIATE_TEST_SUITE_P(All, IntFromStringRejects,
                         testing::Values(RejectedCase{"Empty", ""}, RejectedCase{"Letter", "x"},
                                         RejectedCase{"LetterBehind", "3x"}, RejectedCase{"Hex", "0x10"},
                                         RejectedCase{"Fraction", "1.5"}, RejectedCase{"Exponent", "1e3"},
                                         RejectedCase{"Grouped", "1,000"}, RejectedCase{"SignOnly", "-"},
                                         RejectedCase{"Inner", "1 2"}, RejectedCase{"TooLarge", "2147483648"},
                                         RejectedCase{"TooSmall", "-2147483649"},
                                         RejectedCase{"FarTooLarge", "99999999999999999999999"},
                                         RejectedCase{"OtherDigits", "\xD9\xA3"},
                                         RejectedCase{"NonAscii", "\xC3\xA9"}),
                         [](const auto& row) { return std::string(row.param.name); });
