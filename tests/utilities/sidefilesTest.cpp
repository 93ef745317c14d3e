#include "utilities/sidefiles.h"
#include "support/CommaDecimals.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/files.h"
#include "workspace/Workspace.h"

#include <QLocale>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

using namespace vexel;
using vexel::gdal::savePRJ;
using vexel::gdal::saveTFW;

namespace {

std::string worldFileOf(const Workspace& workspace)
{
    const TempFolder folder;
    const QString path = folder / "ortho.tfw";
    EXPECT_TRUE(saveTFW(workspace, path));
    return fileText(path);
}

std::string fixed12(double value)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.12f", value);
    return text.data();
}

/// Makes Qt, too, write numbers the way much of Europe does, while it lives.
class GermanQt
{
public:
    GermanQt() { QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany)); }
    ~GermanQt() { QLocale::setDefault(m_before); }
    GermanQt(const GermanQt&) = delete;
    GermanQt& operator=(const GermanQt&) = delete;

private:
    QLocale m_before;
};

} // namespace

TEST(SaveTFW, WritesPixelSizeAndNorthWestCorner)
{
    EXPECT_EQ(worldFileOf(Workspace(250000000, -520000000, 250500000, -519500000, 5000)),
              "0.050000000000\n"
              "0\n"
              "0\n"
              "-0.050000000000\n"
              "2500.000000000000\n"
              "5200.000000000000\n");
}

TEST(SaveTFW, WritesTheSmallestWorkspace)
{
    EXPECT_EQ(worldFileOf(Workspace()),
              "0.000010000000\n0\n0\n-0.000010000000\n0.000000000000\n0.000000000000\n");
}

TEST(SaveTFW, WritesCornersWestAndSouthOfTheOrigin)
{
    // The last digits are those of a product with 1e-5; a quotient by 100000 would end in zeros.
    EXPECT_EQ(worldFileOf(Workspace(-123456789, 987654321, 0, 999999999, 123)),
              "0.001230000000\n0\n0\n-0.001230000000\n-1234.567890000000\n-9876.543210000002\n");
}

TEST(SaveTFW, NeverUsesExponents)
{
    const std::string text =
        worldFileOf(Workspace(50000000000000, -50000000000000, 50000000100000, 0, 100000));
    EXPECT_EQ(text, "1.000000000000\n0\n0\n-1.000000000000\n" + fixed12(5e13 * 1e-5) + "\n" +
                        fixed12(-5e13 * -1e-5) + "\n");
    EXPECT_EQ(text.find_first_of("eE"), std::string::npos);
}

TEST(SaveTFW, WritesTheEndsOf64Bits)
{
    constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    const std::string size = fixed12(0x1p63 * 1e-5);
    EXPECT_EQ(worldFileOf(Workspace(lowest, lowest, largest, largest, largest)),
              size + "\n0\n0\n-" + size + "\n-" + size + "\n" + size + "\n");
}

TEST(SaveTFW, IgnoresTheLocale)
{
    const CommaDecimals commas;
    const GermanQt german;
    ASSERT_EQ(QString("%L1").arg(0.5), "0,5");
    EXPECT_EQ(worldFileOf(Workspace(250000000, -520000000, 250500000, -519500000, 5000)),
              "0.050000000000\n0\n0\n-0.050000000000\n2500.000000000000\n5200.000000000000\n");
}

TEST(SaveTFW, ReplacesAnEarlierFile)
{
    const TempFolder folder;
    const QString path = folder / "ortho.tfw";
    makeFile(path, std::string(1000, 'x'));
    ASSERT_TRUE(saveTFW(Workspace(100000, 0, 200000, 100000, 100000), path));
    EXPECT_EQ(fileText(path), "1.000000000000\n0\n0\n-1.000000000000\n1.000000000000\n0.000000000000\n");
    EXPECT_EQ(folder.listing(), "ortho.tfw");
}

TEST(SavePRJ, WritesTheTextAsItIs)
{
    const TempFolder folder;
    const QString path = folder / "ortho.prj";
    const std::string text = "LOCAL_CS[\"\xC3\x9C\x62ung \xE5\x9C\xB0\", 100%1]\r\n\nno line end";
    ASSERT_TRUE(savePRJ(QString::fromStdString(text), path));
    EXPECT_EQ(fileText(path), text);
    EXPECT_EQ(folder.listing(), "ortho.prj");
}

TEST(SavePRJ, WritesAnEmptyTextAsAnEmptyFile)
{
    const TempFolder folder;
    const QString path = folder / "ortho.prj";
    ASSERT_TRUE(savePRJ("earlier", path));
    ASSERT_TRUE(savePRJ("", path));
    EXPECT_EQ(fileText(path), "");
    ASSERT_TRUE(savePRJ(QString(), folder / "null.prj"));
    EXPECT_EQ(fileText(folder / "null.prj"), "");
}

TEST(SideFiles, ThatCannotBeWrittenGiveFalseWithoutAMessage)
{
    const TempFolder folder;
    makeFile(folder / "file", "content");
    const LogCapture log;
    for (const QString& path :
         {folder.path(), folder / "no such folder/ortho.tfw", folder / "file/ortho.tfw"}) {
        EXPECT_FALSE(saveTFW(Workspace(0, 0, 10, 10, 1), path)) << path.toStdString();
        EXPECT_FALSE(savePRJ("text", path)) << path.toStdString();
    }
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(folder.listing(), "file");
    EXPECT_EQ(fileText(folder / "file"), "content");
}
