#include "conversionsupport.h"
#include "txbasiclib/basicvalues.h"

using namespace korven::tx_general;  // NOLINT: these classes stand in the global namespace

TX_GENERAL_CONVERSION(StringListToList, L"StringList", L"List")
DataPtr StringListToList::Convert(DataPtr source) const {
  DataList items;
  for (const auto& text : ValueOf<StringListData>(source)) items.push_back(MakeData<StringData>(text));
  return MakeData<DataListData>(std::move(items));
}

TX_GENERAL_CONVERSION(ListToStringList, L"List", L"StringList")
DataPtr ListToStringList::Convert(DataPtr source) const {
  std::vector<std::wstring> texts;
  for (const auto& item : ValueOf<DataListData>(source)) {
    const auto text = AsDataOf<StringData>(item);
    if (!text || text->HasNoValue()) return nullptr;
    texts.push_back(text->GetDataValue());
  }
  return MakeData<StringListData>(std::move(texts));
}

TX_GENERAL_NAMED_CONVERSION(AnyToList, L"AnyToList", L"*", L"*", L"List")
DataPtr AnyToList::Convert(DataPtr source) const { return MakeData<DataListData>({source}); }

TX_GENERAL_NAMED_CONVERSION(TableToList, L"VANTIX.Table|VANTIX.List", L"VANTIX", L"Table", L"List")
DataPtr TableToList::Convert(DataPtr source) const {
  const auto& table = ValueOf<Tamrin::TesseraBasic::TableData>(source);
  DataList items;
  for (std::int32_t row = 0; row < table.GetCount(); ++row) {
    const auto item = boost::make_shared<Tamrin::TesseraBasic::ScalarData>(table.GetScalarAt(row));
    item->Initialize();
    items.push_back(item);
  }
  return MakeData<DataListData>(std::move(items));
}
