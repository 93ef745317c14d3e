#ifndef VEXEL_TESTS_ODDINPUT_INTERLACEDPNG_H
#define VEXEL_TESTS_ODDINPUT_INTERLACEDPNG_H

#include <functional>
#include <string>

namespace zoo {

/// The bytes of an interlaced PNG file, which GDAL reads but does not write: 8 bits a sample, 1 to 4 samples a
/// pixel, neither filtered nor compressed.
std::string interlacedPng(int width, int height, int samples,
                          const std::function<unsigned char(int x, int y, int sample)>& value);

/// A PNG file whose chunks were changed, with the checksums that they should have, as far as there are chunks.
std::string withPngChecksums(std::string bytes);

} // namespace zoo

#endif
