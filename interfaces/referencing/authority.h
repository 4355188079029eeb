#pragma once

#include <boost/shared_ptr.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "referencing/crs.h"

namespace coordinateReferencing {

/// A hierarchical code: elements joined by "/". Inside an element "/", "%" and control characters are written as "%2F",
/// "%25" …
class AuthorityCode {
 public:
  AuthorityCode() = default;
  explicit AuthorityCode(std::wstring code) : code_(std::move(code)) {}

  /// The last element as it is read: "WGS 84 / UTM zone 33N [EPSG:32633]".
  std::wstring baseSelf() const;
  /// All before the last element as it is written, an AuthorityCode's text again; empty where there is no more.
  std::wstring fullParent() const;
  const std::wstring& toString() const { return code_; }

  static std::wstring Escape(std::wstring_view element);
  /// What is no "%" with two hexadecimal digits of an ASCII character stays as it is.
  static std::wstring Unescape(std::wstring_view element);

 private:
  std::wstring code_;
};

/// What a factory may be asked to look for; nothing so far.
struct Hints {};

/// Who makes the coordinate reference systems of some authorities. Any thread calls both.
class AuthorityProvider {
 public:
  virtual ~AuthorityProvider() = default;
  /// Known beforehand, to be suggested to whoever misspells one.
  virtual std::vector<std::wstring> GetAuthorities() const = 0;
  /// Null for an authority that is not this provider's.
  virtual boost::shared_ptr<iso::referencing::crs::CRSAuthorityFactory> Create(const std::wstring& authority) const = 0;
};

class ReferencingFactoryFinder {
 public:
  /// Never null, the same object for the same authority. Raises KorvenLog::CPPException for an authority that nobody
  /// knows, with the nearest one. Names are compared exactly.
  static boost::shared_ptr<iso::referencing::crs::CRSAuthorityFactory> getCRSAuthorityFactory(
      const std::wstring& authority, const Hints* hints = nullptr);
  /// Null for an authority that nobody knows.
  static boost::shared_ptr<iso::referencing::crs::CRSAuthorityFactory> tryGetCRSAuthorityFactory(
      const std::wstring& authority);
  static std::vector<std::wstring> getAuthorities();
  /// Later ones are asked later. Any thread, at any time, also while libraries are being loaded.
  static void addProvider(boost::shared_ptr<const AuthorityProvider> provider);
};

/// A factory that finds its own code for a system of another authority.
class CodeFinder {
 public:
  virtual ~CodeFinder() = default;
  /// Empty where there is none. The system of a code that is found has the same definition, units and dimension as
  /// `crs`: no code is better than a wrong one.
  virtual std::wstring findCode(const iso::referencing::crs::CRSPtr& crs) const = 0;
};

class AuthorityTranslationSupport {
 public:
  /// Writes to `outCode` how the authority `to` calls what `from` calls `code`; leaves it empty where there is no such
  /// code, where `code` makes no system, or where nobody knows one of the authorities. A code that makes a system is
  /// its own translation to `from`. With `insist` that is raised instead, with the reason, as a
  /// KorvenLog::CPPException. A missing database of coordinate reference systems is raised either way. Results are
  /// kept, so that the same question costs next to nothing. Any thread.
  static void TranslateCode(const std::wstring& from, const std::wstring& code, const std::wstring& to,
                            std::wstring& outCode, bool insist);
};

/// Why there is no coordinate reference system of that name, with authority, code and the nearest known one; empty
/// where there is one.
std::wstring ExplainMissingCRS(const std::wstring& authority, const std::wstring& code);

}  // namespace coordinateReferencing
