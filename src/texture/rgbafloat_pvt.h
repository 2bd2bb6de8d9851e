// Float RGBA reader: decodes a rectangle of a TIFF directory straight into
// four floats a pixel, for the tile cache.
#ifndef SLRT_TEXTURE_RGBAFLOAT_PVT_H
#define SLRT_TEXTURE_RGBAFLOAT_PVT_H

#include <tiffio.h>

#include <cstdint>

namespace slrt_detail {

/// Width, in pixels, of the raster the reader writes into (one cache tile).
constexpr uint32_t kRGBAFloatRasterWidth = 64;

/// Decodes columns col0..col1 and rows row0..row1 (inclusive) of the current
/// directory of tif into raster, a buffer 64 pixels wide (stride 64*4 floats),
/// four floats (RGBA) per pixel, top row first, the rectangle's first pixel at
/// raster[0].  Samples are scaled to [0, 1] by the largest sample value; 32-bit
/// float samples are copied unscaled.  Grey goes to all three colour floats,
/// and alpha is 0.0 when the image has no alpha sample.  Pixels beyond the
/// image (or beyond 64 columns of the raster) are not written.
///
/// Returns 1 on success, 0 on failure; failures are reported through libtiff's
/// error handler with the file name.  A null tif returns 0 silently.
int readRGBAFloatRect(TIFF* tif, uint32_t col0, uint32_t row0, uint32_t col1, uint32_t row1,
                      float* raster);

}  // namespace slrt_detail

#endif  // SLRT_TEXTURE_RGBAFLOAT_PVT_H
