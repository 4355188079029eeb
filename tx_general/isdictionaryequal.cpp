#include <algorithm>
#include <string>
#include <typeinfo>
#include <unordered_set>
#include <vector>

#include "support.h"
#include "txlib/dataref.h"
#include "txlib/jsonvalue.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kIsDictionaryEqual{
    .name = L"AreDictionariesEqual",
    .displayName = L"Are Dictionaries Equal",
    .category = L"Relational",
    .icon = L"OpRelational_Equal.ico",
    .description =
        L"Compares two dictionaries. If all of the elements have the same names and values, true is set on the "
        L"AreEqual port. If they do not, then false is set on the port.",
};

namespace {

using Keys = std::vector<std::wstring>;

/// A value and how it is called in the lines that tell differences.
struct Side {
  const DataPtr& data;
  std::wstring label;
};

/// Compares values member by member. Without lines to be told it ends at the first difference.
class DictionaryComparison {
 public:
  DictionaryComparison(const Keys& exclusions, bool report)
      : exclusions_(exclusions.begin(), exclusions.end()), report_(report) {}

  bool AreEqual(const Side& first, const Side& second) {
    if (!first.data || !second.data) return AreBothNull(first, second);
    // Deeper values are compared as wholes, so that none can run a thread out of its stack.
    constexpr unsigned kDeepest = 500;
    if (depth_ >= kDeepest) return AreSinglesEqual(first, second);
    ++depth_;
    const bool equal = AreContentsEqual(first, second);
    --depth_;
    return equal;
  }

  Keys TakeLines() { return std::move(lines_); }

 private:
  bool AreContentsEqual(const Side& first, const Side& second) {
    auto keys = first.data->GetKeys(), otherKeys = second.data->GetKeys();
    if (!keys.empty() && !otherKeys.empty()) {
      DropExcluded(keys);
      DropExcluded(otherKeys);
      return AreMembersEqual(first, second, keys, otherKeys);
    }
    if (first.data->Count() >= 1 && second.data->Count() >= 1) return AreItemsEqual(first, second);
    return AreSinglesEqual(first, second);
  }

  bool Differ(std::wstring line) {
    if (report_) lines_.push_back(std::move(line));
    return false;
  }

  bool AreBothNull(const Side& first, const Side& second) {
    if (!first.data && !second.data) return true;
    const Side& null = first.data ? second : first;
    const Side& other = first.data ? first : second;
    return Differ(null.label + L" is NULL, but " + other.label + L" is not NULL");
  }

  void DropExcluded(Keys& keys) const {
    if (!exclusions_.empty()) std::erase_if(keys, [this](const std::wstring& key) { return exclusions_.count(key); });
  }

  static std::wstring Listed(const Keys& keys) {
    std::wstring text;
    for (const auto& key : keys) text += (text.empty() ? L"" : L", ") + key;
    return text;
  }

  bool AreMembersEqual(const Side& first, const Side& second, const Keys& keys, const Keys& otherKeys) {
    bool equal = true;
    if (keys.size() != otherKeys.size()) {
      equal = Differ(first.label + L" and " + second.label + L" do not contain the same number of keys.");
      Differ(first.label + L"'s keys are: " + Listed(keys));
      Differ(second.label + L"'s keys are: " + Listed(otherKeys));
      if (!report_) return false;
    }
    for (const auto& key : keys) {
      DataPtr value, other;
      FindMember(*first.data, key, value);
      if (!FindMember(*second.data, key, other)) {
        equal = Differ(second.label + L" does not contain the key " + key + L".");
      } else if (report_) {
        equal = AreEqual({value, first.label + L"/" + key}, {other, second.label + L"/" + key}) && equal;
      } else {
        equal = AreEqual({value, {}}, {other, {}});
      }
      if (!equal && !report_) return false;
    }
    for (const auto& key : equal ? Keys() : otherKeys) {
      DataPtr ignored;
      if (!FindMember(*first.data, key, ignored)) Differ(first.label + L" does not contain the key " + key + L".");
    }
    return equal;
  }

  /// False where there is no such key. A member may be null.
  static bool FindMember(Data& data, const std::wstring& key, DataPtr& member) {
    const Data& value = data;
    if (typeid(value) == typeid(DictionaryData)) {
      const Dictionary& dictionary = static_cast<const DictionaryData&>(value).GetDataValue();
      member = dictionary.Find(key);
      return member || dictionary.Contains(key);
    }
    member = data[key].AsDataOrNull();
    if (member) return true;
    const auto keys = data.GetKeys();
    return std::find(keys.begin(), keys.end(), key) != keys.end();
  }

  bool AreItemsEqual(const Side& first, const Side& second) {
    const std::int32_t count = first.data->Count(), otherCount = second.data->Count();
    if (count != otherCount) {
      Differ(first.label + L" and " + second.label + L" do not contain the same number of items.");
      Differ(first.label + L" contains " + std::to_wstring(count) + L" items.");
      return Differ(second.label + L" contains " + std::to_wstring(otherCount) + L" items.");
    }
    bool equal = true;
    for (std::int32_t index = 0; index < count; ++index) {
      const auto value = (*first.data)[index].AsDataOrNull(), other = (*second.data)[index].AsDataOrNull();
      const std::wstring step = report_ ? L"/[" + std::to_wstring(index) + L"]" : std::wstring();
      equal = AreEqual({value, first.label + step}, {other, second.label + step}) && equal;
      if (!equal && !report_) return false;
    }
    return equal;
  }

  bool AreSinglesEqual(const Side& first, const Side& second) {
    JsonValue json, otherJson;
    if (!first.data->ToJSON(json)) return Differ(first.label + L" cannot converted to JSON.");
    if (!second.data->ToJSON(otherJson)) return Differ(second.label + L" cannot converted to JSON.");
    if (!(json != otherJson)) return true;
    if (!report_) return false;
    return Differ(first.label + L"'s value is " + json.Serialize() + L" != " + second.label + L"'s value is " +
                  otherJson.Serialize());
  }

  const std::unordered_set<std::wstring> exclusions_;
  const bool report_;
  Keys lines_;
  unsigned depth_ = 0;
};

}  // namespace

class IsDictionaryEqual : public Described<kIsDictionaryEqual> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Input1", DictionaryData::DefaultTypeName(), PortType::Input);
    CreatePort(L"Input2", DictionaryData::DefaultTypeName(), PortType::Input);
    Optional(CreatePort(L"Exclusions", StringListData::DefaultTypeName(), PortType::Input));
    Hidden(CreatePort(L"ReportDifferences", PortType::Input, MakeData<BoolData>(false)));
    CreatePort(L"AreEqual", BoolData::DefaultTypeName(), PortType::Output);
    Hidden(CreatePort(L"Differences", StringListData::DefaultTypeName(), PortType::Output));
  }

 protected:
  void OnExecute() override {
    const auto first = RequirePort(*this, L"Input1")->GetData();
    const auto second = RequirePort(*this, L"Input2")->GetData();
    if (!first || !second) SetErrorMessage(L"No data on port.");
    const bool report = ReadPort<bool>(*this, L"ReportDifferences");
    const bool firstIsEmpty = first->GetKeys().empty(), secondIsEmpty = second->GetKeys().empty();
    bool equal = false;
    Keys lines;
    if (firstIsEmpty || secondIsEmpty) {
      equal = firstIsEmpty && secondIsEmpty;
      // Told also where both are empty and so equal, which is wanted.
      if (firstIsEmpty) lines.push_back(L"Input1 contains an empty dictionary.");
      if (secondIsEmpty) lines.push_back(L"Input2 contains an empty dictionary.");
    } else {
      DictionaryComparison comparison(ReadPortOr<Keys>(*this, L"Exclusions", {}), report);
      equal = comparison.AreEqual({first, L"Input1"}, {second, L"Input2"});
      lines = comparison.TakeLines();
    }
    WritePort(*this, L"AreEqual", equal);
    if (report) WritePort(*this, L"Differences", std::move(lines));
  }
};

TX_GENERAL_FACTORY(IsDictionaryEqual)

}  // namespace korven::tx_general
