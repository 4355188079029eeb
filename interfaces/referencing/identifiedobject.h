#pragma once

#include <string>
#include <vector>

namespace iso::referencing {

/// How an authority calls an object: "EPSG" and "4326".
struct Identifier {
  std::wstring authority;
  std::wstring code;
  friend bool operator==(const Identifier&, const Identifier&) = default;
};

/// What coordinate reference systems and their parts have in common. They never change once they are made: any thread
/// may ask one, and hold it as long as it likes.
class IdentifiedObject {
 public:
  virtual ~IdentifiedObject() = default;
  IdentifiedObject(const IdentifiedObject&) = delete;
  IdentifiedObject& operator=(const IdentifiedObject&) = delete;

  virtual std::wstring getName() const = 0;
  /// By which it can be made again; the first one counts. Empty where nobody has named it.
  virtual std::vector<Identifier> getIdentifiers() const { return {}; }
  virtual std::vector<std::wstring> getAlias() const { return {}; }
  virtual std::wstring getRemarks() const { return {}; }

 protected:
  IdentifiedObject() = default;
};

}  // namespace iso::referencing
