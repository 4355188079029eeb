#include "thing.h"

extern "C" int GetAvailablePluginProxiesOfType(const std::wstring& category, Proxies& proxies) {
  if (category == L"Operator") {
    Offer(proxies, L"VANTIX.Shared", L"good");
    Offer(proxies, L"Zebra", L"good");
    Offer(proxies, L"Ant", L"good");
  }
  if (category == L"Data") Offer(proxies, L"Range", L"good");
  return 0;
}
