#ifndef VEXEL_TESTS_SUPPORT_COMMADECIMALS_H
#define VEXEL_TESTS_SUPPORT_COMMADECIMALS_H

#include <locale>
#include <string>

/// Numbers the way much of Europe writes them: 1.234,5.
class CommaNumbers : public std::numpunct<char>
{
protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

/// A locale that writes numbers so, and all else as C does.
inline std::locale commaLocale()
{
    return std::locale(std::locale::classic(), new CommaNumbers);
}

/// The streams of the whole process write numbers so while it lives.
class CommaDecimals
{
public:
    CommaDecimals() : m_before(std::locale::global(commaLocale())) {}
    ~CommaDecimals() { std::locale::global(m_before); }
    CommaDecimals(const CommaDecimals&) = delete;
    CommaDecimals& operator=(const CommaDecimals&) = delete;

private:
    std::locale m_before;
};

#endif
