#pragma once

#include <string>
#include <vector>

#include "txlib/dictionary.h"

namespace Tamrin::TesseraBasic {

/// A closed range of numbers; start may lie above end. Keys "Start" and "End".
class RangeClass : public Tessera::SchemaBasedDictionary {
 public:
  RangeClass() = default;
  RangeClass(double start, double end) : start_(start), end_(end) {}
  RangeClass(const RangeClass&) = default;
  RangeClass& operator=(const RangeClass&) = default;

  double GetStart() const { return start_; }
  double GetEnd() const { return end_; }
  void SetStart(double start) { start_ = start; }
  void SetEnd(double end) { end_ = end; }
  std::vector<std::wstring> GetKeys() const override;
  boost::shared_ptr<Tessera::Data> operator[](const std::wstring& key) const override;
  friend bool operator==(const RangeClass& a, const RangeClass& b) { return a.start_ == b.start_ && a.end_ == b.end_; }

 private:
  double start_ = 0;
  double end_ = 0;
};

}  // namespace Tamrin::TesseraBasic
