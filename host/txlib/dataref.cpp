#include "txlib/dataref.h"

#include "txlib/basicdata.h"

namespace Tamrin::Tessera {

std::vector<std::wstring> DataRef::GetKeys() const { return data_ ? data_->GetKeys() : std::vector<std::wstring>(); }

DataRef DataRef::operator[](std::int32_t index) const { return data_ ? (*data_)[index] : DataRef(); }

DataRef DataRef::operator[](const std::wstring& key) const { return data_ ? (*data_)[key] : DataRef(); }

std::int32_t DataRef::Count() const { return data_ ? data_->Count() : 0; }

DataRef& DataRef::operator=(const boost::shared_ptr<Data>& data) {
  data_ = data;
  if (setter_) setter_(data_);
  return *this;
}

bool DataRef::Erase(std::int32_t index) { return data_ && data_->Erase(index); }

bool DataRef::Erase(const std::wstring& key) { return data_ && data_->Erase(key); }

boost::shared_ptr<Data> DataRef::AsDataOrNull() const { return data_; }

DataRef& DataRef::operator=(const std::wstring& text) {
  return *this = boost::shared_ptr<Data>(MakeData<StringData>(text));
}

DataRef& DataRef::operator=(const wchar_t* text) { return *this = std::wstring(text); }

// Takes the value and keeps its own place: the container of the other handle is not written to through this one.
DataRef& DataRef::operator=(const DataRef& other) { return *this = boost::shared_ptr<Data>(other.data_); }

boost::shared_ptr<Data> DataRef::AsData() const {
  if (!data_) detail::RaiseGetDataValue(238, L"Null reference.");
  return data_;
}

std::wstring DataRef::ToString() const { return data_ ? data_->ToString() : std::wstring(); }

}  // namespace Tamrin::Tessera
