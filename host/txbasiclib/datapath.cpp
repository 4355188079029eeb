#include "txbasiclib/datapath.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <limits>
#include <vector>

#include "txbasiclib/requests.h"

namespace Tamrin::TesseraBasic::DataPath {
namespace {

/// One step down: by key, or by index where that is not negative.
struct Step {
  std::wstring key;
  std::int32_t index = -1;
};

/// "[12]" without escapes.
bool ReadIndex(const std::wstring& text, std::int32_t& index) {
  if (text.size() < 3 || text.back() != L']') return false;
  std::int64_t value = 0;
  for (std::size_t i = 1; i + 1 < text.size(); ++i) {
    if (text[i] < L'0' || text[i] > L'9') return false;
    value = value * 10 + (text[i] - L'0');
    if (value > std::numeric_limits<std::int32_t>::max()) return false;
  }
  index = static_cast<std::int32_t>(value);
  return true;
}

bool AddStep(const std::wstring& text, bool isIndex, std::vector<Step>& steps) {
  if (text.empty()) return false;
  Step& step = steps.emplace_back();
  if (isIndex) return ReadIndex(text, step.index);
  step.key = text;
  return true;
}

bool Parse(const std::wstring& path, std::vector<Step>& steps) {
  std::wstring text;
  bool isIndex = false;
  for (std::size_t i = 0; i < path.size(); ++i) {
    wchar_t c = path[i];
    if (c == L'/') {
      if (!AddStep(text, isIndex, steps)) return false;
      text.clear();
      isIndex = false;
      continue;
    }
    const wchar_t next = i + 1 < path.size() ? path[i + 1] : L'\0';
    if (c == L'\\' && (next == L'/' || next == L'\\' || next == L'[')) {
      c = next;
      ++i;
    } else if (c == L'[' && text.empty()) {
      isIndex = true;
    }
    text += c;
  }
  return AddStep(text, isIndex, steps);
}

/// The item of one step; false where there is none.
bool Descend(Tessera::Data& owner, const Step& step, boost::shared_ptr<Tessera::Data>& item) {
  if (step.index >= 0) {
    if (step.index >= owner.Count()) return false;
    item = owner[step.index].AsDataOrNull();
    return true;
  }
  item = owner[step.key].AsDataOrNull();
  if (item) return true;
  const auto keys = owner.GetKeys();
  return std::find(keys.begin(), keys.end(), step.key) != keys.end();
}

bool Follow(const boost::shared_ptr<Tessera::Data>& data, const std::wstring& path,
            boost::shared_ptr<Tessera::Data>& item) {
  std::vector<Step> steps;
  if (!data || !Parse(path, steps)) return false;
  boost::shared_ptr<Tessera::Data> current = data;
  for (const Step& step : steps) {
    const auto owner = current;
    if (!owner || !Descend(*owner, step, current)) return false;
  }
  item = current;
  return true;
}

/// A step by index means an item of whatever is counted, also of what is no list.
class IndexStepRequest : public DirectedDataRequest {
 protected:
  bool TakeItem(const boost::shared_ptr<Tessera::Data>& whole, boost::shared_ptr<Tessera::Data>& item) const override {
    Step step;
    step.index = static_cast<std::int32_t>(GetIndex());
    return whole && Descend(*whole, step, item);
  }
};

}  // namespace

bool IsValidPath(const boost::shared_ptr<Tessera::Data>& data, const std::wstring& path) {
  boost::shared_ptr<Tessera::Data> item;
  return Follow(data, path, item);
}

Tessera::DataRef GetDataByPath(const boost::shared_ptr<Tessera::Data>& data, const std::wstring& path) {
  boost::shared_ptr<Tessera::Data> item;
  Follow(data, path, item);
  return Tessera::DataRef(item);
}

boost::shared_ptr<Tessera::DataRequest> CreateDataRequest(const std::wstring& path,
                                                          const boost::shared_ptr<Tessera::DataRequest>& request) {
  std::vector<Step> steps;
  if (!Parse(path, steps)) return nullptr;
  // From the inside out: what is pulled first is the outermost item.
  boost::shared_ptr<Tessera::DataRequest> result = request;
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
    if (step->index >= 0) {
      const auto directed = boost::make_shared<IndexStepRequest>();
      directed->SetIndex(static_cast<unsigned>(step->index));
      directed->SetDataRequest(result);
      result = directed;
    } else {
      result = boost::make_shared<NamedDataRequest>(step->key, result);
    }
    result->Initialize();
  }
  return result;
}

}  // namespace Tamrin::TesseraBasic::DataPath
