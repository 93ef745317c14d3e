#include "companion/errnotext.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string textOf(int number)
{
    errno = number;
    return vexel::errnoText().toLocal8Bit().toStdString();
}

} // namespace

TEST(ErrnoText, IsTheCLibrarysText)
{
    for (const int number : {0, EPERM, ENOENT, EACCES, EISDIR, ENOSPC, EIO, 98765}) {
        const std::string expected = std::strerror(number);
        EXPECT_EQ(textOf(number), expected) << number;
    }
}

// Texts of unknown numbers are made when they are asked for, in memory of their own.
TEST(ErrnoText, BelongsToTheAskingThread)
{
    std::vector<std::string> expected;
    for (int k = 0; k < 4; ++k)
        expected.emplace_back(std::strerror(100000 + k));
    std::vector<int> wrong(expected.size());
    std::vector<std::thread> threads;
    for (int k = 0; k < 4; ++k)
        threads.emplace_back([&expected, &wrong, k] {
            const auto mine = static_cast<std::size_t>(k);
            for (int i = 0; i < 1000; ++i)
                wrong[mine] += textOf(100000 + k) == expected[mine] ? 0 : 1;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, std::vector<int>(expected.size()));
}
