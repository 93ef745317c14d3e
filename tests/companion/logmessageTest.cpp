#include "companion/logmessage.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

using vexel::log::defaultLogSource;
using vexel::log::FileAndLine;
using vexel::log::level;
using vexel::log::message;

namespace {

struct Message
{
    level importance;
    std::string category;
    std::string file;
    std::size_t line;
    std::string text;
};

class LogMessage : public testing::Test
{
public:
    LogMessage()
    {
        defaultLogSource().setSink(
            [this](level importance, const QString& category, const FileAndLine& where, const QString& text) {
                messages.push_back({importance, category.toStdString(), where.file.toStdString(), where.line,
                                    text.toStdString()});
            });
    }
    ~LogMessage() override { defaultLogSource().setSink({}); }

protected:
    std::vector<Message> messages;
};

} // namespace

TEST_F(LogMessage, IsEmittedWithItsImportanceAndTextAtTheEndOfTheStatement)
{
    message(level::warning) << "size " << 3 << " x " << QString("4");
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].importance, level::warning);
    EXPECT_EQ(messages[0].category, "");
    EXPECT_EQ(messages[0].text, "size 3 x 4");
}

TEST_F(LogMessage, NamesTheCallingLine)
{
    message(level::error) << "first";
    const std::size_t next = __LINE__ + 1;
    message(level::error) << "second";
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0].file, "logmessageTest");
    EXPECT_EQ(messages[0].line, next - 2);
    EXPECT_EQ(messages[1].file, "logmessageTest");
    EXPECT_EQ(messages[1].line, next);
}

TEST_F(LogMessage, NamesFilesWithoutFolderAndExtension)
{
    message(level::error, "../src/streaming/gdal_t.cpp", 12);
    message(level::error, "DownsamplerBase", 199);
#ifdef Q_OS_WIN
    message(level::error, "..\\src\\a.cpp", 1);
    EXPECT_EQ(messages.back().file, "a");
#endif
    EXPECT_EQ(messages[0].file, "gdal_t");
    EXPECT_EQ(messages[0].line, 12u);
    EXPECT_EQ(messages[1].file, "DownsamplerBase");
    EXPECT_EQ(messages[1].line, 199u);
}
