#ifndef VEXEL_TESTS_SUPPORT_FIGURES_H
#define VEXEL_TESTS_SUPPORT_FIGURES_H

#include <gtest/gtest.h>

#include <iostream>
#include <string>

/// Tells what a test has found beside that it holds: on standard output, and in the report that
/// `--gtest_output=xml` writes, from which scripts/reliability makes its table.
inline void tellFigures(const std::string& text)
{
    testing::Test::RecordProperty("figures", text);
    std::cout << text << std::endl;
}

#endif
