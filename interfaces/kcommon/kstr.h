#pragma once

#include <string>
#include <string_view>
#include <vector>

class KerrException;

/// Expands $NAME and ${NAME} by environment variables. A name that is not set stays as it was written.
std::wstring kstr_PathExpand(const std::wstring& text);
/// The same for any text. Text that holds a null character is a failure.
std::wstring kstr_StringExpand(const std::wstring& text, KerrException& error);

/// Rewrites a path to the separators of the platform's native form: on this platform there is nothing to rewrite, as a
/// backslash is a letter like others.
void kstr_ConvertPathNT(std::wstring& path);
/// The format with each %s replaced by the next text; %% gives %.
std::wstring kstr_Sprintf(std::wstring_view format, const std::vector<std::wstring>& texts);

/// Value of an environment variable; empty where it is not set.
std::wstring kstr_GetEnv(const std::wstring& name);

/// A copy that kstr_Delete frees; null gives null.
char* kstr_Duplicate(const char* text);
void kstr_Delete(char* text);

/// List of names as the file calls give it; freed by kstr_StringListDelete.
struct Kstr_StringList {
  std::vector<std::wstring> strings;
};
void kstr_StringListDelete(Kstr_StringList* list);
/// The strings with the delimiter between them.
std::wstring kstr_StringListToDelimString(const Kstr_StringList& list, const std::wstring& delimiter);

/// Strict UTF-8. Wide text that holds no valid scalar value is written as U+FFFD.
std::string kstr_ToUtf8(std::wstring_view text);
/// False where the bytes are no valid UTF-8; badOffset is then the offset of the first bad byte.
bool kstr_FromUtf8(std::string_view bytes, std::wstring& text, std::size_t* badOffset = nullptr);
/// Each bad byte becomes U+FFFD.
std::wstring kstr_FromUtf8Lossy(std::string_view bytes);
void kstr_AppendUtf8Lossy(std::wstring& text, std::string_view bytes);
/// Room for that many characters, in huge pages where they are many.
void kstr_Reserve(std::wstring& text, std::size_t count);
/// For literals that are ASCII.
std::wstring kstr_Widen(std::string_view ascii);

/// Shortest decimal text that reads back as the same double, classic locale.
std::wstring kstr_ShortestDouble(double value);

/// The name of `names` nearest to `name` by edit distance, or empty text where none is near.
std::wstring kstr_NearestName(const std::wstring& name, const std::vector<std::wstring>& names);
