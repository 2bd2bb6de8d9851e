// Scratch floats for one call: on the stack for the small counts compiled
// shaders pass, on the free store beyond.  Callers bound the count first.
#ifndef SLRT_RUNTIME_SCRATCH_PVT_H
#define SLRT_RUNTIME_SCRATCH_PVT_H

#include <cstddef>
#include <memory>

namespace slrt_detail {

class Scratch {
 public:
  explicit Scratch(long n) : fData(fLocal) {
    if (n > kLocal) {
      fHeap.reset(new float[static_cast<size_t>(n)]);
      fData = fHeap.get();
    }
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  float* data() { return fData; }
  float& operator[](long i) { return fData[i]; }

 private:
  static constexpr long kLocal = 32;
  float fLocal[kLocal];
  std::unique_ptr<float[]> fHeap;
  float* fData;
};

}  // namespace slrt_detail

#endif  // SLRT_RUNTIME_SCRATCH_PVT_H
