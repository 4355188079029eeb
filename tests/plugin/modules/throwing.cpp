#include <stdexcept>

#include "thing.h"

extern "C" int GetAvailablePluginProxiesOfType(const std::wstring& category, Proxies& proxies) {
  if (category == L"Operator") Offer(proxies, L"Half", L"throwing");
  if (category == L"Data") throw std::runtime_error("no licence f\xC3\xBCr you");
  return 0;
}
