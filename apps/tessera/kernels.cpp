#include <memory>

#include "kcommon/kerr.h"
#include "kcommon/kklb.h"
#include "kcommon/kstr.h"
#include "program.h"

namespace TesseraProgram {

namespace {

struct Closer {
  void operator()(Kklb_KernelList* list) const {
    KerrException error(L"apps\\kernels", L"TesseraProgram::ListKernels");
    kklb_CloseKernelLibrary(list, error);
  }
};

JsonValue KernelToJson(const Kklb_Kernel& kernel) {
  const Kgda_BaseDataLayer& layer = kernel.baseData.GetLayer(0);
  JsonValue row(Tamrin::Tessera::JsonValueType::Object);
  row.Set("name", JsonValue::FromUtf8(kernel.name));
  row.Set("rows", JsonValue(layer.rows));
  row.Set("columns", JsonValue(layer.columns));
  row.Set("type", JsonValue(kgda_PixelTypeName(layer.pixelType)));
  row.Set("divisor", JsonValue(kernel.divisor));
  row.Set("description", JsonValue::FromUtf8(kernel.description));
  row.Set("source", JsonValue::FromUtf8(kernel.source));
  return row;
}

}  // namespace

int ListKernels(const Arguments& arguments) {
  KerrException error(L"apps\\kernels", L"TesseraProgram::ListKernels");
  const std::string file = arguments.library.empty() ? "$VANTIX_HOME/etc/default.klb" : arguments.library;
  const std::unique_ptr<Kklb_KernelList, Closer> list(kklb_OpenKernelLibrary(file, error));
  if (!list) throw Refusal(error.get_What());
  if (arguments.json) {
    JsonValue rows(Tamrin::Tessera::JsonValueType::Array);
    for (const Kklb_Kernel& kernel : list->kernels) rows.Append(KernelToJson(kernel));
    JsonValue json(Tamrin::Tessera::JsonValueType::Object);
    json.Set("Kernel", std::move(rows));
    PrintJson(json);
    return kDone;
  }
  for (const Kklb_Kernel& kernel : list->kernels) {
    const Kgda_BaseDataLayer& layer = kernel.baseData.GetLayer(0);
    Print(kstr_FromUtf8Lossy(kernel.name) + L"  " + std::to_wstring(layer.rows) + L" by " +
          std::to_wstring(layer.columns) + L"  " + kstr_FromUtf8Lossy(kernel.description));
  }
  return kDone;
}

}  // namespace TesseraProgram
