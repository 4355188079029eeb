#include "kcommon/kerr.h"
#include "record.h"

const Kprj_ProParameters* kprj_MapProjectionCSRGet(const Kprj_MapProjection* projection,
                                                   const std::wstring& recordName) {
  return projection && recordName == L"Kprj_ProParameters" ? &projection->parameters : nullptr;
}

void kprj_ProjectionFree(Kprj_MapProjection* projection) { delete projection; }

Kprj_ProParameters* kprj_ProParametersCopy(const Kprj_ProParameters* parameters, KerrException& error) {
  if (parameters) return new Kprj_ProParameters(*parameters);
  error.Log(__LINE__, L"There are no parameters of a projection to copy.");
  return nullptr;
}

void kprj_ProParametersFree(Kprj_ProParameters* parameters) { delete parameters; }
