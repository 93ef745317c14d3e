#include "imageloader/SimpleImageLoader.h"

#include "imageloader/GDALImageLoader.h"
#include "images.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

using namespace images;
using vexel::GDALImageLoader;
using vexel::SimpleImageLoader;

static_assert(std::is_abstract_v<SimpleImageLoader> && std::has_virtual_destructor_v<SimpleImageLoader>);
static_assert(std::is_base_of_v<SimpleImageLoader, GDALImageLoader> && !std::is_abstract_v<GDALImageLoader>);
// Nothing but the pointer to the table of virtual operations.
static_assert(sizeof(SimpleImageLoader) == sizeof(void*));

#if defined(__GNUC__) && defined(__x86_64__)

namespace {

/// Position of a virtual operation in the table, counted from the destructor, which takes two entries.
template <class Operation>
std::size_t slotOf(Operation operation)
{
    std::size_t offsetPlusOne = 0;
    static_assert(sizeof(operation) == 2 * sizeof(offsetPlusOne));
    std::memcpy(&offsetPlusOne, &operation, sizeof(offsetPlusOne));
    return (offsetPlusOne - 1) / sizeof(void*) - 1;
}

using Loader = SimpleImageLoader;

template <class... Arguments>
using Const = bool (Loader::*)(Arguments...) const;

} // namespace

TEST(SimpleImageLoader, KeepsTheOrderOfItsOperations)
{
    EXPECT_EQ(slotOf(static_cast<Const<const QString&, Colour&, int>>(&Loader::readRGB)), 1u);
    EXPECT_EQ(slotOf(static_cast<Const<Colour&, int>>(&Loader::readRGB)), 2u);
    EXPECT_EQ(slotOf(static_cast<Const<const QString&, Gray&, int>>(&Loader::readGray)), 3u);
    EXPECT_EQ(slotOf(static_cast<Const<Gray&, int>>(&Loader::readGray)), 4u);
    EXPECT_EQ(slotOf(static_cast<Const<const QString&, Floats&, int>>(&Loader::readFloat)), 5u);
    EXPECT_EQ(slotOf(static_cast<Const<Floats&, int>>(&Loader::readFloat)), 6u);
    EXPECT_EQ(slotOf(static_cast<Const<const Colour&, int>>(&Loader::writeRGB)), 7u);
    EXPECT_EQ(slotOf(static_cast<Const<const QString&, const Colour&>>(&Loader::writeRGB)), 8u);
    EXPECT_EQ(slotOf(static_cast<Const<const Colour&>>(&Loader::writeRGB)), 9u);
    EXPECT_EQ(slotOf(static_cast<Const<const QString&, const Gray&>>(&Loader::writeGray)), 10u);
    EXPECT_EQ(slotOf(static_cast<Const<const Gray&>>(&Loader::writeGray)), 11u);
    EXPECT_EQ(slotOf(static_cast<Const<const QString&, const Floats&>>(&Loader::writeFloat)), 12u);
    EXPECT_EQ(slotOf(static_cast<Const<const Floats&>>(&Loader::writeFloat)), 13u);
    EXPECT_EQ(slotOf(&Loader::openWriteTiles), 14u);
}

#endif

namespace {

/// Replaces the operations with a path by ones that note their call.
class NotingLoader : public GDALImageLoader
{
public:
    using GDALImageLoader::GDALImageLoader;
    using GDALImageLoader::readFloat;
    using GDALImageLoader::readGray;
    using GDALImageLoader::readRGB;
    using GDALImageLoader::writeFloat;
    using GDALImageLoader::writeGray;
    using GDALImageLoader::writeRGB;

    bool readRGB(const QString& path, Colour& out, int level) const override
    {
        out = Colour::Constant(1, 1, 7);
        return note("readRGB", path, level);
    }
    bool readGray(const QString& path, Gray& out, int level) const override
    {
        out = Gray::Constant(1, 1, 8);
        return note("readGray", path, level);
    }
    bool readFloat(const QString& path, Floats& out, int level) const override
    {
        out = Floats::Constant(1, 1, 9);
        return note("readFloat", path, level);
    }
    bool writeRGB(const QString& path, const Colour& in) const override
    {
        return note("writeRGB", path, static_cast<int>(in(0, 0)));
    }
    bool writeGray(const QString& path, const Gray& in) const override
    {
        return note("writeGray", path, in(0, 0));
    }
    bool writeFloat(const QString& path, const Floats& in) const override
    {
        return note("writeFloat", path, static_cast<int>(in(0, 0)));
    }

    mutable std::vector<std::string> calls;

private:
    bool note(const char* operation, const QString& path, int number) const
    {
        calls.push_back(operation + (" " + path.toStdString()) + " " + std::to_string(number));
        return number != 0;
    }
};

} // namespace

TEST(GDALImageLoaderDispatch, ReadsWithoutPathCallTheReadsWithOne)
{
    const NotingLoader noting("own.tif", weights);
    const SimpleImageLoader& loader = noting;
    Colour colour;
    Gray gray;
    Floats floats;
    EXPECT_TRUE(loader.readRGB(colour, 2));
    EXPECT_TRUE(loader.readGray(gray, 3));
    EXPECT_TRUE(loader.readFloat(floats, 4));
    EXPECT_FALSE(loader.readFloat(floats, 0)) << "the result is handed on";
    EXPECT_EQ(noting.calls, (std::vector<std::string>{"readRGB own.tif 2", "readGray own.tif 3",
                                                      "readFloat own.tif 4", "readFloat own.tif 0"}));
    EXPECT_EQ(colour, Colour::Constant(1, 1, 7));
    EXPECT_EQ(gray, Gray::Constant(1, 1, 8));
    EXPECT_EQ(floats, Floats::Constant(1, 1, 9));
}

TEST(GDALImageLoaderDispatch, WritesWithoutPathCallTheWritesWithOne)
{
    const NotingLoader noting("own.tif", weights);
    const SimpleImageLoader& loader = noting;
    EXPECT_TRUE(loader.writeRGB(Colour::Constant(1, 1, 5)));
    EXPECT_TRUE(loader.writeGray(Gray::Constant(1, 1, 6)));
    EXPECT_TRUE(loader.writeFloat(Floats::Constant(1, 1, 7)));
    EXPECT_FALSE(loader.writeFloat(Floats::Constant(1, 1, 0))) << "the result is handed on";
    EXPECT_EQ(noting.calls, (std::vector<std::string>{"writeRGB own.tif 5", "writeGray own.tif 6",
                                                      "writeFloat own.tif 7", "writeFloat own.tif 0"}));
}

TEST(GDALImageLoaderDispatch, TileWritesDoNotGoThroughTheOtherWrites)
{
    const NotingLoader noting("own.tif", weights);
    EXPECT_FALSE(noting.writeRGB(Colour::Constant(1, 1, 5), 0));
    EXPECT_TRUE(noting.calls.empty());
}
