#include "thing.h"

extern "C" int GetAvailablePluginProxiesOfType(const std::wstring& category, Proxies& proxies) {
  if (category == L"Operator") {
    Offer(proxies, L"Own", L"second");
    Offer(proxies, L"VANTIX.Shared", L"second");
    // The same name in another category is another type.
    Offer(proxies, L"Range", L"second");
    proxies.push_back(nullptr);
  }
  return 0;
}
