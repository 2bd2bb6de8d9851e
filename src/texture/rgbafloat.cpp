// Float RGBA reader (being filled in).
#include "texture/rgbafloat_pvt.h"

namespace slrt_detail {

int readRGBAFloatRect(TIFF* tif, uint32_t col0, uint32_t row0, uint32_t col1, uint32_t row1,
                      float* raster) {
  if (!tif || !raster) return 0;
  (void)col0;
  (void)row0;
  (void)col1;
  (void)row1;
  return 0;
}

}  // namespace slrt_detail
