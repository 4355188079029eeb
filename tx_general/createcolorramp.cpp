#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "kcommon/kclb.h"
#include "kcommon/kdsc.h"
#include "kcommon/kerr.h"
#include "stackports.h"

namespace korven::tx_general {

using Tamrin::TesseraBasic::Color;
using BinFunctionPtr = boost::shared_ptr<const Kdsc_BinFunctionPre840>;

inline constexpr OperatorSheet kCreateColorRamp{
    .name = L"CreateColorRamp",
    .displayName = L"Create Color Ramp",
    .category = L"Color",
    .icon = L"Band_Pseudo.ico",
    .description = L"Creates a custom color ramp.",
    .syntax = {L"CreateColorRamp ( <Method>, <SliceType>, <HueDirection>, <StartColor>, <EndColor>, <NumLevels>[, "
               L"ColorRampIn=<ColorRampIn>][, Histogram=<Histogram>][, NumBins=<NumBins>][, "
               L"StartValue=<StartValue>][, EndValue=<EndValue>] )"},
};

/// What a run was told.
struct CreateColorRampImpl {
  enum class Method { Value = 0, EqualArea = 1 };

  StackPtr colorRampIn;
  boost::shared_ptr<Table> histogram;
  BinFunctionPtr binFunction;
  StackPtr histogramStack;
  unsigned numBins = 0;
  Method method = Method::Value;
  Kclb_SliceType sliceType = Kclb_SliceType::Ihs;
  Kclb_HueDirection hueDirection = Kclb_HueDirection::Shortest;
  Kclb_Color startColor;
  Kclb_Color endColor;
  bool hasValueRange = false;
  double startValue = 0;
  double endValue = 0;
  bool hasBinRange = false;
  std::int32_t startBin = 0;
  std::int32_t endBin = 0;
  unsigned numLevels = 0;

  unsigned RowCount() const { return histogram ? static_cast<unsigned>(histogram->GetCount()) : numBins; }
};

namespace {

Kclb_Color ToRecord(const Color& color) {
  return {color.GetRed(), color.GetGreen(), color.GetBlue(), color.GetOpacity(), 1};
}

boost::shared_ptr<Table> TableIn(const DataPtr& data) {
  const auto table = AsDataOf<TableData>(data);
  return table ? table->GetDataPointer() : nullptr;
}

/// A table, or the one that what is told of a raster's band has as its histogram. Null where there is none.
boost::shared_ptr<Table> TableOfBand(const DataPtr& data) {
  if (!data) return nullptr;
  if (const auto table = TableIn(data)) return table;
  return TableIn((*data)[L"Histogram"].AsDataOrNull());
}

/// The same in a list of one: so a raster of one band tells of it, and so documents write a dictionary for a list.
boost::shared_ptr<Table> FindHistogram(const DataPtr& data) {
  if (const auto table = TableOfBand(data)) return table;
  const auto list = boost::dynamic_pointer_cast<DataListData>(data);
  const bool isOne = list && !list->HasNoValue() && list->GetDataPointer()->size() == 1;
  return isOne ? TableOfBand(list->GetDataPointer()->front()) : nullptr;
}

/// Without fraction. What no such integer holds becomes the nearest; not-a-number the lowest.
std::int32_t ToBinNumber(double value) {
  constexpr double lowest = std::numeric_limits<std::int32_t>::lowest();
  constexpr double highest = std::numeric_limits<std::int32_t>::max();
  if (!(value > lowest)) return std::numeric_limits<std::int32_t>::lowest();
  return static_cast<std::int32_t>(std::min(value, highest));
}

/// Without fraction and clamped to the ramp. An infinity or not-a-number is the first entry.
unsigned ToRampIndex(double place, unsigned levels) {
  if (!(place >= 0) || std::isinf(place)) return 0;
  return place >= levels ? levels - 1 : static_cast<unsigned>(place);
}

/// An element by its place, as a double: the first part of a complex number, 0 for a text.
double RampElement(const KgdaBaseDataStack& stack, std::size_t index, std::int32_t row) {
  const Kgda_BaseDataLayer& layer = stack.GetLayer(index);
  const void* const element = kgda_ElementPointer(layer, row, 0);
  if (layer.pixelType == KgdaComplex64) return static_cast<double>(*static_cast<const float*>(element));
  if (layer.pixelType == KgdaComplex128) return *static_cast<const double*>(element);
  return layer.pixelType == KgdaString ? 0.0 : kgda_ElementAsDouble(layer, row, 0);
}

/// The rows of the colour table that is made.
class RampRows {
 public:
  explicit RampRows(const StackPtr& stack) : stack_(stack) {}

  void Set(std::int32_t row, const Kclb_Color& color) { Set(row, color.red, color.green, color.blue); }
  void SetFrom(std::int32_t row, const KgdaBaseDataStack& ramp, std::int32_t rampRow) {
    Set(row, RampElement(ramp, 0, rampRow), RampElement(ramp, 1, rampRow), RampElement(ramp, 2, rampRow));
  }

 private:
  void Set(std::int32_t row, double red, double green, double blue) {
    const double channels[] = {red, green, blue};
    for (std::size_t i = 0; i < 3; ++i) static_cast<double*>(stack_->GetLayer(i).data)[row] = channels[i];
  }
  StackPtr stack_;
};

/// Which rows the ramp covers: from the first to the last.
struct Covered {
  std::int64_t first;
  std::int64_t last;
  void Add(std::int32_t row, std::int64_t none) {
    if (first == none) first = row;
    last = row;
  }
};

template <typename Choice>
struct Named {
  const wchar_t* name;
  Choice choice;
};
constexpr Named<CreateColorRampImpl::Method> kMethods[] = {{L"Value", CreateColorRampImpl::Method::Value},
                                                           {L"Equal Area", CreateColorRampImpl::Method::EqualArea}};
constexpr Named<Kclb_SliceType> kSliceTypes[] = {{L"RGB", Kclb_SliceType::Rgb}, {L"IHS", Kclb_SliceType::Ihs}};
constexpr Named<Kclb_HueDirection> kHueDirections[] = {
    {L"Clockwise Curve", Kclb_HueDirection::Clockwise},
    {L"Counter-Clockwise Curve", Kclb_HueDirection::CounterClockwise},
    {L"Shortest", Kclb_HueDirection::Shortest},
    {L"Longest", Kclb_HueDirection::Longest}};

template <typename Choice, std::size_t Count>
PortPtr DeclareChoice(Operator& op, const wchar_t* port, const Named<Choice> (&choices)[Count],
                      const wchar_t* standard) {
  std::vector<std::wstring> names;
  for (const auto& choice : choices) names.emplace_back(choice.name);
  const PortPtr made = Optional(op.CreatePort(port, PortType::Input, MakeData<StringData>(standard)));
  made->SetAttribute(L"AcceptableValues", MakeData<StringListData>(std::move(names)));
  return made;
}

/// The choice on a port, to the letter; otherwise the message.
template <typename Choice, std::size_t Count>
Choice ReadChoice(Operator& op, const wchar_t* port, const Named<Choice> (&choices)[Count], const wchar_t* message) {
  const auto name = ReadPortOr<std::wstring>(op, port, L"");
  for (const auto& choice : choices)
    if (name == choice.name) return choice.choice;
  op.SetErrorMessage(message);
}

}  // namespace

class CreateColorRamp : public Described<kCreateColorRamp> {
 public:
  void DeclarePorts() override {
    Hidden(Optional(CreatePort(L"ColorRampIn", TableData::DefaultTypeName(), PortType::Input)));
    const auto histogram = Optional(CreateListPort(*this, L"Histogram", PortType::Input, TableData::DefaultTypeName()));
    histogram->AddSupportedType(TableData::DefaultTypeName());
    histogram->AddSupportedType(ObjectName{L"VANTIX", L"RasterStats"});
    Optional(CreatePort(L"NumBins", UnsignedData::DefaultTypeName(), PortType::Input));
    DeclareChoice(*this, L"Method", kMethods, L"Value");
    Hidden(DeclareChoice(*this, L"SliceType", kSliceTypes, L"IHS"));
    DeclareChoice(*this, L"HueDirection", kHueDirections, L"Longest");
    CreatePort(L"StartColor", Tamrin::TesseraBasic::ColorData::DefaultTypeName(), PortType::Input);
    CreatePort(L"EndColor", Tamrin::TesseraBasic::ColorData::DefaultTypeName(), PortType::Input);
    Optional(CreatePort(L"NumLevels", UnsignedData::DefaultTypeName(), PortType::Input));
    Optional(CreatePort(L"StartValue", DoubleData::DefaultTypeName(), PortType::Input));
    Optional(CreatePort(L"EndValue", DoubleData::DefaultTypeName(), PortType::Input));
    CreatePort(L"ColorRampOut", TableData::DefaultTypeName(), PortType::Output);
  }

  std::vector<std::wstring> GetDefaultSyntax() const override {
    std::vector<std::wstring> lines = AppendHostSyntax({}, Operator::GetDefaultSyntax());
    for (std::wstring& line : Described::GetDefaultSyntax()) lines.push_back(std::move(line));
    return lines;
  }

  int GetInputPortNamesForXPorts(int count, std::vector<std::wstring>& names) override {
    KerrException error(L"tx_general\\createcolorramp",
                        L"korven::tx_general::CreateColorRamp::GetInputPortNamesForXPorts");
    names.clear();
    if (count == 2)
      names = {L"StartColor", L"EndColor"};
    else if (count == 6)
      names = {L"Method", L"SliceType", L"HueDirection", L"StartColor", L"EndColor", L"NumLevels"};
    else
      error.Throw(__LINE__, L"CreateColorRamp requires either two or six unnamed inputs");
    return static_cast<int>(names.size());
  }

 protected:
  void OnExecute() override {
    KerrException error(L"tx_general\\createcolorramp", L"korven::tx_general::CreateColorRamp::OnExecute");
    GetInputs();
    const std::int64_t rows = impl_->RowCount();
    Covered covered{0, rows};
    const StackPtr output =
        impl_->method == CreateColorRampImpl::Method::Value ? SliceByValue(covered, error) : SliceByCount(error);
    if (impl_->colorRampIn) KeepEarlierColors(*output, covered);
    const auto table = BaseDataStackUtils::CreateTableFromBaseDataStack(output, false);
    if (impl_->histogram && impl_->binFunction)
      BaseDataStackUtils::SetBinFunction(*table, BaseDataStackUtils::BinFunctionCopy(impl_->binFunction));
    WriteShared<TableData>(RequirePort(*this, L"ColorRampOut"), table);
  }

 private:
  // The order of the checks is that of the messages.
  void GetInputs() {
    impl_ = boost::make_shared<CreateColorRampImpl>();
    CreateColorRampImpl& in = *impl_;
    in.colorRampIn = ReadStack(RequirePort(*this, L"ColorRampIn"));
    ReadHistogram();
    const auto bins = GetPortDataAs<unsigned>(RequirePort(*this, L"NumBins"), true);
    if (bins) in.numBins = *bins;
    if (bins && in.numBins == 0) SetErrorMessage(L"NumBins cannot be 0.");
    if (in.numBins != 0 && in.histogram) SetErrorMessage(L"Histogram and NumBins are mutually exclusive.");
    if (in.numBins == 0 && !in.histogram) SetErrorMessage(L"Either Histogram or NumBins must be specified.");
    in.method = ReadChoice(*this, L"Method", kMethods, L"Invalid method specified.");
    if (in.method != CreateColorRampImpl::Method::Value && !in.histogram)
      SetErrorMessage(L"The specified Method requires a Histogram.");
    in.sliceType = ReadChoice(*this, L"SliceType", kSliceTypes, L"Invalid Slice Type.");
    in.hueDirection = ReadChoice(*this, L"HueDirection", kHueDirections, L"Invalid color Path.");
    in.startColor = ToRecord(*GetPortDataAs<Color>(RequirePort(*this, L"StartColor")));
    in.endColor = ToRecord(*GetPortDataAs<Color>(RequirePort(*this, L"EndColor")));
    in.numLevels = ReadPortOr<unsigned>(*this, L"NumLevels", in.RowCount());
    if (in.numLevels < 1) SetErrorMessage(L"Ramp must contain at least one level.");
    ReadRange();
  }

  void ReadHistogram() {
    const DataPtr data = RequirePort(*this, L"Histogram")->GetData();
    if (!data) return;
    impl_->histogram = FindHistogram(data);
    if (!impl_->histogram) SetErrorMessage(L"Histogram input is invalid.");
    impl_->binFunction = BaseDataStackUtils::GetBinFunctionFromTable(*impl_->histogram);
    impl_->histogramStack = BaseDataStackUtils::GetBaseDataStackFromTable(impl_->histogram);
  }

  void ReadRange() {
    const auto start = GetPortDataAs<double>(RequirePort(*this, L"StartValue"), true);
    const auto end = GetPortDataAs<double>(RequirePort(*this, L"EndValue"), true);
    if (start && !end) SetWarningMessage(L"Ignoring start value without end value.");
    if (end && !start) SetWarningMessage(L"Ignoring end value without start value.");
    if (!start || !end) return;
    CreateColorRampImpl& in = *impl_;
    if (*start == *end) SetWarningMessage(L"StartValue and EndValue are equal.");
    if (in.histogram) {
      in.hasValueRange = true;
      in.startValue = *start;
      in.endValue = *end;
      return;
    }
    in.hasBinRange = true;
    in.startBin = ToBinNumber(*start);
    in.endBin = ToBinNumber(*end);
    if (in.startBin < 0) {
      SetErrorMessage(
          L"Start Value (specifying a starting bin number, since no Histogram provided) cannot be less than zero.");
    }
    if (static_cast<unsigned>(in.endBin) >= in.numBins) {
      SetErrorMessage(
          L"End Value (specifying an ending bin number, since no Histogram provided) must be no greater than NumBins - "
          L"1.");
    }
  }

  StackPtr SliceByValue(Covered& covered, KerrException& error) {
    const CreateColorRampImpl& in = *impl_;
    const KgdaBaseDataStack ramp =
        in.sliceType == Kclb_SliceType::Rgb
            ? kclb_RGBLevelSlice(in.numLevels, in.numLevels, in.startColor, in.endColor, error)
            : kclb_LevelSlice(in.numLevels, in.numLevels, in.startColor, in.endColor, in.hueDirection, error);
    error.Check(__LINE__);
    const auto output = boost::make_shared<KgdaBaseDataStack>(
        kgda_BaseDataStackCreate(3, in.RowCount(), 1, KgdaFloat64, KgdaBaseDataStack::KindTable, error));
    error.Check(__LINE__);
    RampRows rows(output);
    const auto count = static_cast<std::int32_t>(in.RowCount());
    if (in.hasBinRange) {
      covered = FillBinRange(rows, count, ramp, error);
    } else if (in.hasValueRange) {
      covered = FillValueRange(rows, count, ramp, error);
    } else {
      const double ratio = static_cast<double>(ramp.GetLayer(0).rows) / count;
      for (std::int32_t row = 0; row < count; ++row)
        rows.SetFrom(row, ramp, static_cast<std::int32_t>(ToRampIndex(row * ratio, in.numLevels)));
    }
    return output;
  }

  Covered FillBinRange(RampRows& rows, std::int32_t count, const KgdaBaseDataStack& ramp, KerrException& error) {
    const CreateColorRampImpl& in = *impl_;
    Covered covered{count, -1};
    const unsigned bins = static_cast<unsigned>(in.endBin) - static_cast<unsigned>(in.startBin);
    if (bins == 0) {
      error.Throw(__LINE__, L"StartValue and EndValue are both bin " + std::to_wstring(in.startBin) +
                                L"; expected two different bins.");
    }
    // Whole, so that the end of the ramp may stay unused, which is wanted.
    const double factor = in.numLevels / bins;
    for (std::int32_t bin = 0; bin < count; ++bin) {
      if (bin < in.startBin) {
        rows.Set(bin, in.startColor);
      } else if (bin > in.endBin) {
        rows.Set(bin, in.endColor);
      } else {
        covered.Add(bin, count);
        rows.SetFrom(bin, ramp, static_cast<std::int32_t>(ToRampIndex((bin - in.startBin) * factor, in.numLevels)));
      }
    }
    return covered;
  }

  Covered FillValueRange(RampRows& rows, std::int32_t count, const KgdaBaseDataStack& ramp, KerrException& error) {
    const CreateColorRampImpl& in = *impl_;
    Covered covered{count, -1};
    const double step = (in.endValue - in.startValue) / in.numLevels;
    for (std::int32_t row = 0; row < count; ++row) {
      double lower = 0, upper = 0;
      kdsc_BinFunctionApplyInverse(in.binFunction.get(), row, lower, upper, error);
      error.Check(__LINE__);
      if (in.startValue > upper) {
        rows.Set(row, in.startColor);
      } else if (!(upper >= in.startValue) || in.endValue < lower) {
        rows.Set(row, in.endColor);
      } else {
        covered.Add(row, count);
        const double place = (lower - in.startValue) / step;
        rows.SetFrom(row, ramp, static_cast<std::int32_t>(ToRampIndex(place, in.numLevels)));
      }
    }
    return covered;
  }

  StackPtr SliceByCount(KerrException& error) {
    const CreateColorRampImpl& in = *impl_;
    const auto output = boost::make_shared<KgdaBaseDataStack>(kclb_EqualCountLevelSlice(
        *in.histogramStack, in.numLevels, in.startColor, in.endColor, in.sliceType, in.hueDirection, error));
    error.Check(__LINE__);
    return output;
  }

  void KeepEarlierColors(KgdaBaseDataStack& output, const Covered& covered) {
    const KgdaBaseDataStack& earlier = *impl_->colorRampIn;
    const std::int32_t count = output.GetLayer(0).rows;
    std::optional<std::int32_t> lastKept;
    for (std::int32_t row = 0; row < count; ++row)
      if (row < covered.first || row > covered.last) lastKept = row;
    if (!lastKept) return;
    const Kgda_BaseDataLayer& first = earlier.GetLayer(0);
    if (earlier.GetLayerCount() < 3 || first.columns < 1 || first.rows <= *lastKept) {
      SetErrorMessage(L"ColorRampIn has " + std::to_wstring(first.rows) + L" rows of " +
                      std::to_wstring(earlier.GetLayerCount()) + L" channels; expected red, green and blue of " +
                      std::to_wstring(count) + L" rows.");
    }
    for (std::int32_t row = 0; row < count; ++row) {
      if (row >= covered.first && row <= covered.last) continue;
      for (std::size_t i = 0; i < 3; ++i)
        static_cast<double*>(output.GetLayer(i).data)[row] = RampElement(earlier, i, row);
    }
  }

  boost::shared_ptr<CreateColorRampImpl> impl_;
};

TX_GENERAL_FACTORY(CreateColorRamp)

}  // namespace korven::tx_general
