#include "thing.h"

extern "C" int GetAvailablePluginProxiesOfType(const std::wstring& /*category*/, Proxies& proxies) {
  Offer(proxies, L"Never", L"failing");
  return 7;
}
