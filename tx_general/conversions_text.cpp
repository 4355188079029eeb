#include "conversionsupport.h"
#include "txbasiclib/basicvalues.h"

using namespace korven::tx_general;  // NOLINT: these classes stand in the global namespace

TX_GENERAL_CONVERSION(StringToJson, L"String", L"Json")
DataPtr StringToJson::Convert(DataPtr source) const { return FromTextOf<Tamrin::TesseraBasic::JsonData>(source); }

TX_GENERAL_CONVERSION(StringToFile, L"String", L"File")
DataPtr StringToFile::Convert(DataPtr source) const { return FromTextOf<FileData>(source); }

TX_GENERAL_CONVERSION(StringToDirectory, L"String", L"Directory")
DataPtr StringToDirectory::Convert(DataPtr source) const { return FromTextOf<DirectoryData>(source); }

TX_GENERAL_NAMED_CONVERSION(StringToStringList, L"VANTIX.String|VANTIX.StringList", L"VANTIX", L"String", L"StringList")
DataPtr StringToStringList::Convert(DataPtr source) const {
  return MakeData<StringListData>({ValueOf<StringData>(source)});
}
