#pragma once

#include <boost/shared_ptr.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "kcommon/kgda.h"

class KerrException;

/// One kernel of a library. Texts are UTF-8.
struct Kklb_Kernel {
  std::string name;
  std::string description;
  std::string source;  ///< where the weights come from
  double divisor = 1;
  KgdaBaseDataStack baseData{KgdaBaseDataStack::KindMatrix};  ///< one layer; weights over the divisor
};

struct Kklb_KernelList {
  std::wstring fileName;
  std::vector<Kklb_Kernel> kernels;
};

/// Reads a kernel library; see docs/formats.md. Variables in the name are expanded. Null with the failure in `error`.
Kklb_KernelList* kklb_OpenKernelLibrary(const std::string& path, KerrException& error);
Kklb_KernelList kklb_ReadKernels(std::string_view text, const std::wstring& source, KerrException& error);
/// The kernel of that name, in any case where no other has it exactly; valid until the library is closed. Null with
/// the failure in `error`.
const Kklb_Kernel* kklb_GetKernel(const Kklb_KernelList* library, const std::string& kernelName, KerrException& error);
void kklb_CloseKernelLibrary(Kklb_KernelList* library, KerrException& error);
