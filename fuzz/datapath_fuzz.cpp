#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "kcommon/kstr.h"
#include "txbasiclib/basicvalues.h"
#include "txbasiclib/datapath.h"
#include "txbasiclib/requests.h"

namespace {

namespace tx = Tamrin::Tessera;
namespace basic = Tamrin::TesseraBasic;
using DataPtr = boost::shared_ptr<tx::Data>;
using RequestPtr = boost::shared_ptr<tx::DataRequest>;

/// {a: {b: [null, {c: 1}], "d/e": 2, "[0]": 3}, r: 1:2, j: {"k": [true]}}
DataPtr MakeNested() {
  tx::Dictionary leaf, branch, root;
  leaf.SetItem(L"c", tx::MakeData<tx::IntData>(1));
  branch.SetItem(L"b", tx::MakeData<tx::DataListData>(tx::DataList{nullptr, tx::MakeData<tx::DictionaryData>(leaf)}));
  branch.SetItem(L"d/e", tx::MakeData<tx::IntData>(2));
  branch.SetItem(L"[0]", tx::MakeData<tx::IntData>(3));
  root.SetItem(L"a", tx::MakeData<tx::DictionaryData>(branch));
  root.SetItem(L"r", tx::MakeData<basic::RangeData>(basic::RangeClass(1, 2)));
  const auto json = boost::make_shared<basic::JsonData>();
  if (!json->FromString(L"{\"k\":[true]}")) std::abort();
  root.SetItem(L"j", json);
  return tx::MakeData<tx::DictionaryData>(root);
}

/// Follows a request from the outside in, as operators do.
DataPtr Follow(DataPtr data, const RequestPtr& request, const RequestPtr& innermost) {
  RequestPtr step = request;
  while (step != innermost && data) {
    if (const auto named = boost::dynamic_pointer_cast<basic::NamedDataRequest>(step)) {
      data = (*data)[named->GetName()].AsDataOrNull();
      step = named->GetDataRequest();
    } else if (const auto directed = boost::dynamic_pointer_cast<basic::DirectedDataRequest>(step)) {
      data = (*data)[static_cast<std::int32_t>(directed->GetIndex())].AsDataOrNull();
      step = directed->GetDataRequest();
    } else {
      std::abort();
    }
  }
  return data;
}

std::wstring TextOf(const DataPtr& data) { return data ? data->ToString() : std::wstring(L"none"); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const DataPtr nested = MakeNested();
  const std::wstring path = kstr_FromUtf8Lossy(std::string_view(reinterpret_cast<const char*>(bytes), size));
  const auto innermost = boost::make_shared<tx::DataRequest>();
  const bool valid = basic::DataPath::IsValidPath(nested, path);
  const DataPtr item = basic::DataPath::GetDataByPath(nested, path).AsDataOrNull();
  const RequestPtr request = basic::DataPath::CreateDataRequest(path, innermost);
  if (!valid && item) std::abort();
  if (valid && !request) std::abort();
  if (request && TextOf(Follow(nested, request, innermost)) != TextOf(item)) std::abort();
  return 0;
}
