#include <boost/make_shared.hpp>
#include <string>

#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"
#include "rasteroperators.h"
#include "txlib/model.h"

namespace Tamrin::TesseraGeospatial {

using namespace Tessera;  // NOLINT

namespace {

boost::shared_ptr<Port> CreateFilename(Operator& op, bool mustExist) {
  const auto port = op.CreatePort(L"Filename", FileData::DefaultTypeName(), PortType::Input);
  port->SetAttribute(L"Input", MakeData<BoolData>(mustExist));
  port->SetAttribute(L"FileFilter", MakeData<StringData>(std::wstring(L"Raster (*.*)")));
  port->SetAttribute(L"Kind", MakeData<StringData>(std::wstring(L"raster")));
  return port;
}

void SetText(Dictionary& dictionary, const wchar_t* key, const std::wstring& text) {
  dictionary.SetItem(key, MakeData<StringData>(text));
}
void SetCount(Dictionary& dictionary, const wchar_t* key, std::int64_t count) {
  dictionary.SetItem(key, MakeData<UnsignedData>(static_cast<unsigned>(count)));
}

boost::shared_ptr<Data> Describe(const RasterBand& band) {
  Dictionary dictionary;
  SetText(dictionary, L"Type", kgda_PixelTypeName(band.type));
  SetText(dictionary, L"StoredType", band.storedType);
  dictionary.SetItem(L"NoData", band.noData ? MakeData<DoubleData>(*band.noData) : nullptr);
  SetText(dictionary, L"Description", band.description);
  return MakeData<DictionaryData>(std::move(dictionary));
}

Dictionary Describe(const std::wstring& name, const RasterFacts& facts) {
  Dictionary dictionary;
  dictionary.SetItem(L"Filename", MakeData<FileData>(name));
  SetText(dictionary, L"Format", facts.format);
  SetCount(dictionary, L"Rows", facts.rows);
  SetCount(dictionary, L"Columns", facts.columns);
  SetCount(dictionary, L"NumBands", static_cast<std::int64_t>(facts.bands.size()));
  SetText(dictionary, L"Type", kgda_PixelTypeName(facts.type));
  SetCount(dictionary, L"BlockRows", facts.blockRows);
  SetCount(dictionary, L"BlockColumns", facts.blockColumns);
  SetText(dictionary, L"Interleaving", facts.isPixelInterleaved ? L"Pixel" : L"Band");
  const bool hasCrs = !facts.crs.GetAuthority().empty();
  dictionary.SetItem(L"CoordinateReferenceSystem",
                     hasCrs ? MakeData<CoordinateReferenceSystemIDData>(facts.crs) : nullptr);
  boost::shared_ptr<Data> transform;
  if (facts.transform) {
    DataList numbers;
    for (const double number : *facts.transform) numbers.push_back(MakeData<DoubleData>(number));
    transform = MakeData<DataListData>(std::move(numbers));
  }
  dictionary.SetItem(L"GeoTransform", transform);
  DataList bands;
  for (const RasterBand& band : facts.bands) bands.push_back(Describe(band));
  dictionary.SetItem(L"Bands", MakeData<DataListData>(std::move(bands)));
  return dictionary;
}

}  // namespace

void RasterFileInput::DeclarePorts() {
  CreateFilename(*this, true);
  CreatePort(L"Raster", RasterData::DefaultTypeName(), PortType::Output);
}

void RasterFileInput::OnExecute() {
  const auto name = GetPortDataOf<FileData>(RequirePort(*this, L"Filename"));
  const auto raster = MakeRasterData(*name);
  for (const std::wstring& text : raster->GetDataValue().GetWarnings())
    SetWarningMessage(L"The raster \"" + *name + L"\": " + text);
  RequirePort(*this, L"Raster")->SetData(raster);
}

void RasterFileOutput::DeclarePorts() {
  CreatePort(L"RasterIn", RasterData::DefaultTypeName(), PortType::Input);
  CreateFilename(*this, false);
  CreatePort(L"Format", StringData::DefaultTypeName(), PortType::Input)->SetIsOptional(true);
  CreatePort(L"CreationOptions", StringListData::DefaultTypeName(), PortType::Input)->SetIsOptional(true);
  CreatePort(L"RasterOut", RasterData::DefaultTypeName(), PortType::Output);
}

void RasterFileOutput::OnExecute() {
  const auto raster = GetPortWrapperOf<RasterData>(*RequirePort(*this, L"RasterIn"));
  const auto name = GetPortDataOf<FileData>(RequirePort(*this, L"Filename"));
  if (name->empty()) SetErrorMessage(L"Filename is empty; it is where the raster is written.");
  RasterCopyOptions options;
  options.format = ReadPortOr<std::wstring>(*this, L"Format", L"");
  options.creationOptions = ReadPortOr<std::vector<std::wstring>>(*this, L"CreationOptions", {});
  for (const std::wstring& option : options.creationOptions) {
    if (option.find(L'=') == std::wstring::npos)
      SetErrorMessage(L"The creation option \"" + option + L"\" has no \"=\"; expected NAME=VALUE.");
  }
  const auto environment = GetEnvironment();
  options.progress = [&](double percent) {
    environment->CheckCancelled();
    SetProgress(percent);
  };
  options.warn = [&](const std::wstring& text) { SetWarningMessage(L"The raster \"" + *name + L"\": " + text); };
  raster->GetDataValue().GetFacts();
  raster->GetDataValue().CheckUnchanged();
  RasterEngine::Get().Copy(raster->GetDataValue().GetName(), *name, options);
  RequirePort(*this, L"RasterOut")->SetData(MakeRasterData(*name));
}

void RasterInformation::DeclarePorts() {
  CreatePort(L"Raster", RasterData::DefaultTypeName(), PortType::Input);
  CreatePort(L"Information", DictionaryData::DefaultTypeName(), PortType::Output);
}

void RasterInformation::OnExecute() {
  const auto raster = GetPortWrapperOf<RasterData>(*RequirePort(*this, L"Raster"));
  const Raster& value = raster->GetDataValue();
  WritePort(*this, L"Information", Describe(value.GetName(), *value.GetFacts()));
}

}  // namespace Tamrin::TesseraGeospatial
