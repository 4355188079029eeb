#include <charconv>
#include <cmath>
#include <optional>
#include <string>
#include <typeinfo>

#include "itemports.h"
#include "kcommon/kstr.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kFindItem{
    .name = L"FindItem",
    .displayName = L"Find Item",
    .category = L"General|List",
    .description = L"Gets a single item off a list by return a list of indices.",
};

namespace {

/// Compares items with one value by their texts. The text of a number reads back as the same number, so that only
/// those of equal number have to be written out to be compared.
class TextMatcher {
 public:
  explicit TextMatcher(const Data& wanted)
      : wanted_(wanted), type_(wanted.GetDataTypeName()), text_(wanted.ToString()) {
    const std::string ascii = kstr_ToUtf8(text_);
    double number = 0;
    const auto read = std::from_chars(ascii.data(), ascii.data() + ascii.size(), number);
    if (read.ec == std::errc() && read.ptr == ascii.data() + ascii.size()) number_ = number;
  }

  bool IsOfType(const Data& item) const { return typeid(item) == typeid(wanted_) || item.GetDataTypeName() == type_; }

  bool Matches(const Data& item) const {
    const std::type_info& type = typeid(item);
    if (type == typeid(StringData) && !item.HasNoValue()) {
      return static_cast<const StringData&>(item).GetDataValue() == text_;
    }
    if (type == typeid(DoubleData)) return MatchesNumber<DoubleData>(item);
    if (type == typeid(IntData)) return MatchesNumber<IntData>(item);
    if (type == typeid(UnsignedData)) return MatchesNumber<UnsignedData>(item);
    return item.ToString() == text_;
  }

 private:
  template <typename W>
  bool MatchesNumber(const Data& item) const {
    const double number = static_cast<const W&>(item).GetDataValue();
    return (!std::isfinite(number) || number_ == number) && item.ToString() == text_;
  }

  const Data& wanted_;
  const ObjectName type_;
  const std::wstring text_;
  std::optional<double> number_;
};

}  // namespace

class FindItem : public Described<kFindItem> {
 public:
  void DeclarePorts() override {
    CreateItemsPort(*this, L"List", PortType::Input);
    CreatePort(L"Item", Data::DefaultTypeName(), PortType::Input);
    Optional(CreatePort(L"AttemptConversion", BoolData::DefaultTypeName(), PortType::Input));
    CreateListPort(*this, L"Indices", PortType::Output, UnsignedData::DefaultTypeName());
  }

 protected:
  void OnExecute() override {
    const auto list = GetPortDataAs<DataList>(RequirePort(*this, L"List"));
    const auto wanted = RequirePort(*this, L"Item")->GetData();
    if (!wanted) SetErrorMessage(L"Item is empty!");
    const bool anyType = ReadPortOr<bool>(*this, L"AttemptConversion", false);
    const TextMatcher matcher(*wanted);
    DataList indices;
    for (std::size_t index = 0; index < list->size(); ++index) {
      const auto& item = (*list)[index];
      if (!item) SetErrorMessage(L"Item is empty!");
      if ((anyType || matcher.IsOfType(*item)) && matcher.Matches(*item)) {
        indices.push_back(MakeData<UnsignedData>(static_cast<unsigned>(index)));
      }
    }
    WritePort(*this, L"Indices", std::move(indices));
  }
};

TX_GENERAL_FACTORY(FindItem)

}  // namespace korven::tx_general
