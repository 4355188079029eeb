#pragma once

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "txlib/model.h"

namespace TesseraProgram {

/// Writes what arrives at the inputs of Preview operators as files that a person can open, while it lives. Inner and
/// linked models count, and each copy of an iterated one.
class Preview {
 public:
  /// Makes the folder; raises Refusal where that can't be.
  Preview(const std::string& folder, const boost::shared_ptr<Tamrin::Tessera::Model>& model);
  Preview(const Preview&) = delete;
  Preview& operator=(const Preview&) = delete;

  /// Raises Refusal with the first file that could not be written.
  void CheckWritten() const;

 private:
  struct Place {
    std::wstring name;      ///< as a part of file names
    std::wstring identity;  ///< of this operator alone
  };
  void OnStep(const boost::shared_ptr<Tamrin::Tessera::Operator>& op, Tamrin::Tessera::RunStep step);
  void Write(Tamrin::Tessera::Operator& op);
  Place PlaceOf(Tamrin::Tessera::Operator& op);
  std::size_t NumberOf(const std::wstring& place, const boost::shared_ptr<Tamrin::Tessera::Operator>& copy);
  std::wstring Reserve(const std::wstring& stem, const std::wstring& owner, const wchar_t* extension);

  const std::wstring folder_;
  mutable std::mutex mutex_;
  std::map<std::wstring, std::vector<boost::weak_ptr<Tamrin::Tessera::Operator>>> copies_;
  std::map<std::wstring, std::wstring> owners_;  ///< of file names in lower case
  std::wstring failure_;
  Tamrin::Tessera::CallbackHandle handle_;
};

/// What a value is written as for a person: its bytes and the extension of the file.
struct PreviewFile {
  const wchar_t* extension;
  std::string bytes;
};
PreviewFile ToPreviewFile(const boost::shared_ptr<Tamrin::Tessera::Data>& data);
/// Letters, digits and a few marks as they are, all else as "_", cut to a length that file names bear.
std::wstring ToFileNamePart(const std::wstring& text);

}  // namespace TesseraProgram
