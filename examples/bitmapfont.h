#ifndef VEXEL_EXAMPLES_BITMAPFONT_H
#define VEXEL_EXAMPLES_BITMAPFONT_H

#include <array>
#include <cstddef>
#include <string_view>

/// Letters of one width for captions of pictures.
namespace example::font {

/// Size of a letter in dots. The last row holds what hangs below the line.
constexpr int width = 5;
constexpr int height = 8;

/// Dots from the start of a letter to that of the next one.
constexpr int advance = width + 1;

/// Drawings of letters side by side, `advance` columns apart.
struct Strip
{
    std::string_view letters;
    std::array<std::string_view, height> rows;
};

// clang-format off
constexpr std::array<Strip, 7> strips = {{
    {"ABCDEFGHIJKLM",
     {" ###  ####   ###  ####  ##### #####  ###  #   #  ###    ### #   # #     #   #",
      "#   # #   # #   # #   # #     #     #   # #   #   #      #  #  #  #     ## ##",
      "#   # #   # #     #   # #     #     #     #   #   #      #  # #   #     # # #",
      "##### ####  #     #   # ####  ####  # ### #####   #      #  ##    #     # # #",
      "#   # #   # #     #   # #     #     #   # #   #   #      #  # #   #     #   #",
      "#   # #   # #   # #   # #     #     #   # #   #   #   #  #  #  #  #     #   #",
      "#   # ####   ###  ####  ##### #      ###  #   #  ###   ##   #   # ##### #   #",
      "                                                                             "}},
    {"NOPQRSTUVWXYZ",
     {"#   #  ###  ####   ###  ####   #### ##### #   # #   # #   # #   # #   # #####",
      "##  # #   # #   # #   # #   # #       #   #   # #   # #   # #   # #   #     #",
      "##  # #   # #   # #   # #   # #       #   #   # #   # #   #  # #   # #     # ",
      "# # # #   # ####  #   # ####   ###    #   #   # #   # # # #   #     #     #  ",
      "#  ## #   # #     # # # # #       #   #   #   # #   # # # #  # #    #    #   ",
      "#  ## #   # #     #  #  #  #      #   #   #   #  # #  ## ## #   #   #   #    ",
      "#   #  ###  #      ## # #   # ####    #    ###    #   #   # #   #   #   #####",
      "                                                                             "}},
    {"abcdefghijklm",
     {"      #               #         ##        #       #      #  #      ##        ",
      "      #               #        #  #       #                 #       #        ",
      " ###  ####   ####  ####  ###   #     #### ####   ##     ##  #  #    #   #### ",
      "    # #   # #     #   # #   # ###   #   # #   #   #      #  # #     #   # # #",
      " #### #   # #     #   # #####  #    #   # #   #   #      #  ##      #   # # #",
      "#   # #   # #     #   # #      #     #### #   #   #      #  # #     #   # # #",
      " #### ####   ####  ####  ####  #        # #   #  ###  #  #  #  #   ###  # # #",
      "                                     ###               ##                    "}},
    {"nopqrstuvwxyz",
     {"                                     #                                       ",
      "                                     #                                       ",
      "####   ###  ####   #### # ##   #### ####  #   # #   # #   # #   # #   # #####",
      "#   # #   # #   # #   # ##  # #      #    #   # #   # #   #  # #  #   #    # ",
      "#   # #   # #   # #   # #      ###   #    #   # #   # # # #   #   #   #   #  ",
      "#   # #   # ####   #### #         #  #  # #   #  # #  # # #  # #   ####  #   ",
      "#   #  ###  #         # #     ####    ##   ####   #    # #  #   #     # #####",
      "            #         #                                            ###       "}},
    {"0123456789",
     {" ###    #    ###   ###     #  #####  ###  #####  ###   ### ",
      "#   #  ##   #   # #   #   ##  #     #         # #   # #   #",
      "#  ##   #       #     #  # #  ####  #        #  #   # #   #",
      "# # #   #      #    ##  #  #      # ####    #    ###   ####",
      "##  #   #     #       # #####     # #   #  #    #   #     #",
      "#   #   #    #    #   #    #  #   # #   #  #    #   #     #",
      " ###   ###  #####  ###     #   ###   ###   #     ###   ### ",
      "                                                           "}},
    {" .,:;!?'\"()[]",
     {"                                #    ###    #    # #     #   #     ###   ### ",
      "                   ##    ##     #   #   #   #    # #    #     #    #       # ",
      "                   ##    ##     #       #              #       #   #       # ",
      "                                #      #               #       #   #       # ",
      "                   ##    ##     #     #                #       #   #       # ",
      "       ##    ##    ##    #                              #     #    #       # ",
      "       ##    #          #       #     #                  #   #     ###   ### ",
      "            #                                                                "}},
    {"<>/|+-_=*#%&",
     {"    # #         #   #                                  # #  ##  #  ##  ",
      "   #   #        #   #     #                     # # #  # #  ##  # #  # ",
      "  #     #      #    #     #               #####  ###  #####    #  # #  ",
      " #       #    #     #   ##### #####             #####  # #    #    #   ",
      "  #     #    #      #     #               #####  ###  #####  #    # # #",
      "   #   #    #       #     #                     # # #  # #  #  ## #  # ",
      "    # #     #       #               #####              # #  #  ##  ## #",
      "                                                                       "}},
}};
// clang-format on

/// Whether a letter has ink at a dot, row 0 on top. A letter that has no drawing is a frame.
constexpr bool hasInk(char16_t letter, int row, int column)
{
    const auto dotRow = static_cast<std::size_t>(row);
    for (const Strip& strip : strips)
        for (std::size_t k = 0; k < strip.letters.size(); ++k)
            if (static_cast<char16_t>(strip.letters[k]) == letter)
                return strip.rows[dotRow][k * advance + static_cast<std::size_t>(column)] == '#';
    const bool onFrame = row == 0 || row == height - 2 || column == 0 || column == width - 1;
    return row < height - 1 && onFrame;
}

} // namespace example::font

#endif
