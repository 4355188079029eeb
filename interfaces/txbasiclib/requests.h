#pragma once

#include <boost/shared_ptr.hpp>
#include <string>
#include <utility>

#include "txlib/datarequest.h"

namespace Tamrin::TesseraBasic {

/// Asks for one item of a list.
class DirectedDataRequest : public Tessera::DataRequest {
 public:
  const wchar_t* Name() const override { return L"DirectedDataRequest"; }
  void SetIndex(unsigned index) { index_ = index; }
  unsigned GetIndex() const { return index_; }
  void SetDataRequest(const boost::shared_ptr<Tessera::DataRequest>& request) { request_ = request; }
  const boost::shared_ptr<Tessera::DataRequest>& GetDataRequest() const { return request_; }

 private:
  unsigned index_ = 0;
  boost::shared_ptr<Tessera::DataRequest> request_;
};

/// Asks for one item of a dictionary.
class NamedDataRequest : public Tessera::DataRequest {
 public:
  NamedDataRequest() = default;
  NamedDataRequest(std::wstring name, boost::shared_ptr<Tessera::DataRequest> request)
      : name_(std::move(name)), request_(std::move(request)) {}
  const wchar_t* Name() const override { return L"NamedDataRequest"; }
  const std::wstring& GetName() const { return name_; }
  const boost::shared_ptr<Tessera::DataRequest>& GetDataRequest() const { return request_; }

 private:
  std::wstring name_;
  boost::shared_ptr<Tessera::DataRequest> request_;
};

}  // namespace Tamrin::TesseraBasic
