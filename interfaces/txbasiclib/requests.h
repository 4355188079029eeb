#pragma once

#include <boost/shared_ptr.hpp>
#include <string>
#include <utility>

#include "txlib/datarequest.h"

namespace Tamrin::TesseraBasic {

/// Asks for one item of a container, and of that for what the inner request asks. An operator that can make the item
/// alone answers with it. Where none can, the whole container is made and the item taken from it.
class ItemRequest : public Tessera::DataRequest {
 public:
  void SetDataRequest(const boost::shared_ptr<Tessera::DataRequest>& request) { request_ = request; }
  const boost::shared_ptr<Tessera::DataRequest>& GetDataRequest() const { return request_; }
  boost::shared_ptr<Tessera::Data> SelectFrom(const boost::shared_ptr<Tessera::Data>& whole) override;
  /// Said by an operator that answers with the item alone, which may be null.
  void SetFound() { state_ = State::Found; }
  /// True after a pull that met the item. Operators that do not say so are taken at their answer.
  bool IsFound() const { return state_ == State::Found; }
  /// True after a pull for which the whole value was made and had no such item.
  bool IsMissing() const { return state_ == State::Missing; }

 protected:
  ItemRequest() = default;
  explicit ItemRequest(boost::shared_ptr<Tessera::DataRequest> request) : request_(std::move(request)) {}
  /// False where there is no such item. `whole` may be null.
  virtual bool TakeItem(const boost::shared_ptr<Tessera::Data>& whole,
                        boost::shared_ptr<Tessera::Data>& item) const = 0;

 private:
  enum class State { Unknown, Found, Missing };
  boost::shared_ptr<Tessera::DataRequest> request_;
  State state_ = State::Unknown;
};

/// Asks for one item of a list, or of what is read as one.
class DirectedDataRequest : public ItemRequest {
 public:
  const wchar_t* Name() const override { return L"DirectedDataRequest"; }
  void SetIndex(unsigned index) { index_ = index; }
  unsigned GetIndex() const { return index_; }

 protected:
  bool TakeItem(const boost::shared_ptr<Tessera::Data>& whole, boost::shared_ptr<Tessera::Data>& item) const override;

 private:
  unsigned index_ = 0;
};

/// Asks for one item of a dictionary.
class NamedDataRequest : public ItemRequest {
 public:
  NamedDataRequest() = default;
  NamedDataRequest(std::wstring name, boost::shared_ptr<Tessera::DataRequest> request)
      : ItemRequest(std::move(request)), name_(std::move(name)) {}
  const wchar_t* Name() const override { return L"NamedDataRequest"; }
  const std::wstring& GetName() const { return name_; }

 protected:
  bool TakeItem(const boost::shared_ptr<Tessera::Data>& whole, boost::shared_ptr<Tessera::Data>& item) const override;

 private:
  std::wstring name_;
};

}  // namespace Tamrin::TesseraBasic
