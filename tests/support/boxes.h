#ifndef VEXEL_TESTS_SUPPORT_BOXES_H
#define VEXEL_TESTS_SUPPORT_BOXES_H

#include "workspace/Workspace.h"

#include <string>

/// A half-open box of pixels.
inline vexel::PixelBox box(int x0, int y0, int x1, int y1)
{
    return {vexel::PixelPoint(x0, y0), vexel::PixelPoint(x1, y1)};
}

/// "(x0, y0)-(x1, y1)", to compare boxes by.
inline std::string boxText(const vexel::PixelBox& b)
{
    return "(" + std::to_string(b.min_corner().x()) + ", " + std::to_string(b.min_corner().y()) + ")-(" +
           std::to_string(b.max_corner().x()) + ", " + std::to_string(b.max_corner().y()) + ")";
}

#endif
