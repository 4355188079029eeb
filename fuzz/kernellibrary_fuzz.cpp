#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "kcommon/kerr.h"
#include "kcommon/kklb.h"

/// Every kernel of a library that is read can be had by its name.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  KerrException error(L"fuzz", L"LLVMFuzzerTestOneInput");
  const Kklb_KernelList list = kklb_ReadKernels({reinterpret_cast<const char*>(data), size}, L"input", error);
  if (error.IsPending()) {
    if (error.get_What().empty()) std::abort();
    return 0;
  }
  for (const Kklb_Kernel& kernel : list.kernels) {
    if (kklb_GetKernel(&list, kernel.name, error) != &kernel) std::abort();
    const Kgda_BaseDataLayer& layer = kernel.baseData.GetLayer(0);
    if (!layer.data || layer.pixelType > KgdaFloat64) std::abort();
  }
  return 0;
}
