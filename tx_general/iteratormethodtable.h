#pragma once

#include <string>
#include <vector>

namespace korven::tx_general {

/// Prototype under which every execution method of the Iterator files itself.
inline constexpr const wchar_t* kIteratorMethodPrototype = L"VANTIX.IteratorExecutionMethod";
/// Marks, on a private copy of an iterator, that it is to run what it holds.
inline constexpr const wchar_t* kIteratorCopyAttribute = L"IteratorExecutionMethodModel";
inline constexpr const wchar_t* kDefaultIteratorMethod = L"InProcessSerial";

/// The execution methods of all plug-ins that were loaded when the first Iterator was made. The vectors run in
/// parallel.
struct IteratorMethodTable {
  std::vector<std::wstring> objectNames;
  std::vector<std::wstring> namespaces;
  std::vector<std::wstring> shortNames;
  std::wstring keywords;

  /// Any thread. Raises a std::runtime_error, "Dead Reference Detected", once the static objects have gone.
  static const IteratorMethodTable& Instance();
};

}  // namespace korven::tx_general
