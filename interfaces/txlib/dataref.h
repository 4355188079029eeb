#pragma once

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "txlib/data.h"

namespace Tamrin::Tessera {

/// A handle to a value inside a container, or to nothing. One that came from a container's operator[] writes
/// into that container when it is assigned to, and must not outlive it.
class DataRef {
 public:
  using Setter = boost::function<void(const boost::shared_ptr<Data>&)>;

  DataRef() = default;
  DataRef(const boost::shared_ptr<Data>& data) : data_(data) {}
  DataRef(const boost::shared_ptr<Data>& data, const Setter& setter) : data_(data), setter_(setter) {}
  DataRef(const DataRef&) = default;

  virtual std::vector<std::wstring> GetKeys() const;
  virtual DataRef operator[](std::int32_t index) const;
  virtual DataRef operator[](const std::wstring& key) const;
  virtual std::int32_t Count() const;
  virtual DataRef& operator=(const boost::shared_ptr<Data>& data);
  virtual bool Erase(std::int32_t index);
  virtual bool Erase(const std::wstring& key);
  virtual boost::shared_ptr<Data> AsDataOrNull() const;
  virtual ~DataRef() = default;

  DataRef& operator=(const std::wstring& text);
  DataRef& operator=(const wchar_t* text);
  DataRef& operator=(const DataRef& other);
  bool IsNull() const { return !data_; }
  /// Raises "Null reference." for a handle to nothing.
  boost::shared_ptr<Data> AsData() const;
  std::wstring ToString() const;

 private:
  boost::shared_ptr<Data> data_;
  Setter setter_;
};

}  // namespace Tamrin::Tessera
