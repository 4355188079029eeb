#include "txbasiclib/requests.h"

#include <algorithm>
#include <typeinfo>

#include "txbasiclib/basicvalues.h"
#include "txlib/dataref.h"
#include "txlib/portaccess.h"

namespace Tamrin::TesseraBasic {

namespace {

using DataPtr = boost::shared_ptr<Tessera::Data>;

/// The value as a list. What has items of its own by the same indices stays as it is: turned into a list, all of it
/// would be copied for each item that is asked for.
DataPtr AsCounted(const DataPtr& whole) {
  const Tessera::Data& value = *whole;
  const bool isCounted = typeid(value) == typeid(Tessera::DataListData) ||
                         typeid(value) == typeid(Tessera::StringListData) || typeid(value) == typeid(TableData);
  return isCounted ? whole : Tessera::AsDataOf<Tessera::DataListData>(whole);
}

}  // namespace

DataPtr ItemRequest::SelectFrom(const DataPtr& whole) {
  DataPtr item;
  state_ = TakeItem(whole, item) ? State::Found : State::Missing;
  return item && request_ ? request_->SelectFrom(item) : item;
}

bool DirectedDataRequest::TakeItem(const DataPtr& whole, DataPtr& item) const {
  const DataPtr counted = whole ? AsCounted(whole) : nullptr;
  if (!counted || counted->HasNoValue() || index_ >= static_cast<unsigned>(std::max(counted->Count(), 0))) return false;
  item = (*counted)[static_cast<std::int32_t>(index_)].AsDataOrNull();
  return true;
}

bool NamedDataRequest::TakeItem(const DataPtr& whole, DataPtr& item) const {
  if (!whole) return false;
  item = (*whole)[name_].AsDataOrNull();
  if (item) return true;
  const auto keys = whole->GetKeys();
  return std::find(keys.begin(), keys.end(), name_) != keys.end();
}

}  // namespace Tamrin::TesseraBasic
