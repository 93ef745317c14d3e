#include "utilities/webmercatorarguments.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using vexel::gdal::appendWebMercatorArguments;
using vexel::gdal::CommandOptions;

TEST(WebMercatorArguments, AreTheFixedListInOrder)
{
    CommandOptions arguments;
    appendWebMercatorArguments(arguments, "dir/web_src.prj", QString::fromUtf8("d\u00EDr/web_dst.prj"));
    std::vector<std::string> list;
    for (char** argument = arguments.options(); *argument; ++argument)
        list.emplace_back(*argument);
    EXPECT_EQ(list,
              (std::vector<std::string>{"-q", "-multi", "-overwrite", "-s_srs", "dir/web_src.prj", "-t_srs",
                                        "d\xC3\xAD"
                                        "r/web_dst.prj"}));
}
